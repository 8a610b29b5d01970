// Plain values that cross the ports: result codes, identifiers, variants and
// the enumerations of the audio and session interfaces. They mirror the
// platform's own so that failure texts print real codes, but they live in
// this namespace, and none of them is a macro, so a Windows implementation
// file can include both this and <windows.h>.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

namespace qv {

// A COM result: negative is failure.
using HRESULT = std::int32_t;
// A Win32 error number (GetLastError, registry status); 0 is success.
using Win32Error = std::uint32_t;

inline constexpr bool Succeeded(HRESULT hr) { return hr >= 0; }
inline constexpr bool Failed(HRESULT hr) { return hr < 0; }
// The platform's HRESULT_FROM_WIN32.
inline constexpr HRESULT HresultFromWin32(Win32Error e) {
    return e == 0 ? 0 : static_cast<HRESULT>((e & 0x0000FFFFu) | (7u << 16) | 0x80000000u);
}

struct GUID {
    std::uint32_t Data1 = 0;
    std::uint16_t Data2 = 0;
    std::uint16_t Data3 = 0;
    std::array<std::uint8_t, 8> Data4{};
    friend bool operator==(const GUID&, const GUID&) = default;
    friend auto operator<=>(const GUID&, const GUID&) = default;
};

struct PROPERTYKEY {
    GUID fmtid;
    std::uint32_t pid = 0;
    friend bool operator==(const PROPERTYKEY&, const PROPERTYKEY&) = default;
};

// Variant types that the endpoint property store yields.
enum VARTYPE : std::uint16_t {
    VT_EMPTY = 0,
    VT_I4 = 3,
    VT_BOOL = 11,
    VT_UI4 = 19,
    VT_LPWSTR = 31,
};

// The part of a PROPVARIANT that this system reads. The variant owns its
// text, so there is nothing to clear by hand.
struct PROPVARIANT {
    VARTYPE vt = VT_EMPTY;
    std::uint32_t ulVal = 0;  // VT_UI4, VT_I4 and VT_BOOL keep their 32 bits here
    std::wstring pwszVal;     // VT_LPWSTR
};

enum EDataFlow : std::uint32_t {
    eRender = 0,
    eCapture = 1,
    eAll = 2,
    // Not a platform value: what a device holds before it knows its flow.
    EDataFlowUnknown = 0xFFFFFFFFu,
};

enum ERole : std::uint32_t {
    eConsole = 0,
    eMultimedia = 1,
    eCommunications = 2,
};

enum AudioSessionState : std::int32_t {
    AudioSessionStateInactive = 0,
    AudioSessionStateActive = 1,
    AudioSessionStateExpired = 2,
};

enum AudioSessionDisconnectReason : std::int32_t {
    DisconnectReasonDeviceRemoval = 0,
    DisconnectReasonServerShutdown = 1,
    DisconnectReasonFormatChanged = 2,
    DisconnectReasonSessionLogoff = 3,
    DisconnectReasonSessionDisconnected = 4,
    DisconnectReasonExclusiveModeOverride = 5,
};

// A point in time as the platform counts it: 100-nanosecond ticks since
// 1601-01-01 (FILETIME).
struct FILETIME {
    std::uint32_t dwLowDateTime = 0;
    std::uint32_t dwHighDateTime = 0;
    std::uint64_t Ticks() const { return (std::uint64_t{dwHighDateTime} << 32) | dwLowDateTime; }
    static FILETIME FromTicks(std::uint64_t t) {
        return {static_cast<std::uint32_t>(t), static_cast<std::uint32_t>(t >> 32)};
    }
    friend bool operator==(const FILETIME&, const FILETIME&) = default;
};

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", upper case.
std::wstring GuidToString(const GUID& guid);
// Accepts the form above, braces optional, any case. False on bad input.
bool GuidFromString(const std::wstring& text, GUID& guid);

}  // namespace qv
