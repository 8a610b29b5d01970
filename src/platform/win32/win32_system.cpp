#include "platform/win32/win32_system.h"

#include <vector>

#include "platform/win32/windows_api.h"

#include <mfapi.h>
#include <objbase.h>

namespace qv {

namespace {

// RtlGetVersion's record as ntdll fills it (RTL_OSVERSIONINFOEXW). It is
// declared here because <winternl.h> does not give it, and its size is part
// of the call: ntdll checks the size field.
struct RtlVersionRecord {
    ULONG dwOSVersionInfoSize;
    ULONG dwMajorVersion;
    ULONG dwMinorVersion;
    ULONG dwBuildNumber;
    ULONG dwPlatformId;
    WCHAR szCSDVersion[128];
    USHORT wServicePackMajor;
    USHORT wServicePackMinor;
    USHORT wSuiteMask;
    UCHAR wProductType;
    UCHAR wReserved;
};
static_assert(sizeof(RtlVersionRecord) == 284, "RtlGetVersion takes a 284-byte record");

using RtlGetVersionFunction = LONG(WINAPI*)(RtlVersionRecord*);

}  // namespace

uint32_t CWin32System::GetProductType() {
    // RtlGetVersion rather than GetVersionExW: it tells the real version
    // whatever the program's manifest says.
    DWORD productType = 0;
    HMODULE ntdll = ::GetModuleHandleA("ntdll");
    if (!ntdll) return productType;
    auto rtlGetVersion =
        reinterpret_cast<RtlGetVersionFunction>(reinterpret_cast<void*>(::GetProcAddress(ntdll, "RtlGetVersion")));
    if (!rtlGetVersion) return productType;
    RtlVersionRecord version{};
    version.dwOSVersionInfoSize = sizeof version;
    rtlGetVersion(&version);
    ::GetProductInfo(version.dwMajorVersion, version.dwMinorVersion, version.wServicePackMajor,
                     version.wServicePackMinor, &productType);
    return productType;
}

HRESULT CWin32System::CoCreateGuid(GUID& guid) {
    ::GUID made{};
    HRESULT hr = ::CoCreateGuid(&made);
    if (hr < 0) return hr;
    guid.Data1 = made.Data1;
    guid.Data2 = made.Data2;
    guid.Data3 = made.Data3;
    for (int i = 0; i < 8; ++i) guid.Data4[i] = made.Data4[i];
    return hr;
}

FILETIME CWin32System::GetSystemTimeAsFileTime() {
    ::FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    return FILETIME{now.dwLowDateTime, now.dwHighDateTime};
}

uint32_t CWin32System::GetCurrentProcessId() { return ::GetCurrentProcessId(); }

Win32Error CWin32System::GetModuleFileName(std::wstring& path) {
    // A path may be longer than MAX_PATH; the buffer grows until the name
    // fits, up to the longest path the system knows.
    std::vector<wchar_t> buffer(MAX_PATH);
    for (;;) {
        DWORD length = ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0) return ::GetLastError();
        if (length < buffer.size()) {
            path.assign(buffer.data(), length);
            return ERROR_SUCCESS;
        }
        if (buffer.size() >= 32768) return ERROR_INSUFFICIENT_BUFFER;
        buffer.resize(buffer.size() * 2);
    }
}

HRESULT CWin32System::CoInitializeEx() { return ::CoInitializeEx(nullptr, COINIT_MULTITHREADED); }

void CWin32System::CoUninitialize() { ::CoUninitialize(); }

uint32_t CWin32System::LookUpNtdllFunctions() {
    HMODULE ntdll = ::GetModuleHandleA("ntdll.dll");
    if (!ntdll) return 0;
    uint32_t found = 0;
    for (const char* name : {"NtQuerySystemInformation", "NtDuplicateObject", "NtQueryObject"})
        if (::GetProcAddress(ntdll, name)) ++found;
    return found;
}

HRESULT CWin32System::MFStartup() { return ::MFStartup(MF_VERSION, MFSTARTUP_FULL); }

}  // namespace qv
