// A toast's own way into the vendor library: its API handle and the handle of
// its endpoint, opened together when the toast is made and closed together
// when it goes. Without the library, or without the endpoint in it, the
// endpoint handle stays null and the toast never connects.
#pragma once

#include <cstdint>
#include <string>

#include "core/ref.h"
#include "core/trace.h"
#include "platform/vendor_api.h"

namespace qv {

// Where a user parameter lives in the effect engine.
struct VendorParameter {
    int32_t first;
    int32_t second;
    int32_t third;
};
inline constexpr VendorParameter kAutoPresetAvailable{-1, -37, -1};
inline constexpr VendorParameter kLobeFitAvailable{-1, -36, -1};
inline constexpr VendorParameter kLobeFitConfiguration{5, 148, -1};

class CVendorEndpoint {
public:
    // trace may be null. The trace is kept for the closing lines.
    CVendorEndpoint(DBG_TRACE* trace, const std::wstring& endpointId);
    ~CVendorEndpoint();
    CVendorEndpoint(const CVendorEndpoint&) = delete;
    CVendorEndpoint& operator=(const CVendorEndpoint&) = delete;

    bool HasEndpoint() const { return m_endpoint != 0; }
    // A one-byte flag: true only when the read works, gives a byte and the
    // byte is not 0.
    bool ReadFlag(const VendorParameter& parameter);
    // The raw read: the library's result, and size in and out.
    int32_t Read(const VendorParameter& parameter, void* value, uint32_t& size);
    void Write(const VendorParameter& parameter, const void* value, uint32_t size);

private:
    DBG_TRACE* const m_trace;
    CRefPtr<IVendorApi> m_api;
    ORBAPI_HANDLE m_apiHandle = 0;
    ORBAPI_HANDLE m_endpoint = 0;
};

}  // namespace qv
