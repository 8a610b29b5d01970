// Facts of the machine on Linux: no product types, GUIDs from the kernel's
// random source, the real-time clock counted as FILETIME, /proc/self/exe.
// There is no COM and no ntdll, and FFmpeg needs no start: a thread is ready
// for every Linux port as it is.
#pragma once

#include "platform/system.h"

namespace qv {

class CLinuxSystem : public CAddReleaseRef, public ISystem {
public:
    uint32_t GetProductType() override { return 0; }
    HRESULT CoCreateGuid(GUID& guid) override;
    FILETIME GetSystemTimeAsFileTime() override;
    uint32_t GetCurrentProcessId() override;
    Win32Error GetModuleFileName(std::wstring& path) override;
    HRESULT CoInitializeEx() override { return 0; }
    void CoUninitialize() override {}
    uint32_t LookUpNtdllFunctions() override { return 0; }
    HRESULT MFStartup() override { return 0; }
};

// Ticks between 1601-01-01 and 1970-01-01.
inline constexpr uint64_t kFileTimeUnixEpoch = 116444736000000000ULL;

}  // namespace qv
