// Facts and services of the machine and the running process that the model
// asks for: the product type, new GUIDs, the system clock, the process id,
// the path of the executable, and the run-time services that the start of
// the process brings up (COM, the native query functions, Media Foundation).
#pragma once

#include <cstdint>
#include <string>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

struct ISystem : virtual IAddReleaseRef {
    // RtlGetVersion then GetProductInfo. The result stays 0 where the platform
    // has no product types, and where either call is missing.
    virtual uint32_t GetProductType() = 0;
    // CoCreateGuid.
    virtual HRESULT CoCreateGuid(GUID& guid) = 0;
    // GetSystemTimeAsFileTime: now, in 100-ns ticks since 1601.
    virtual FILETIME GetSystemTimeAsFileTime() = 0;
    // GetCurrentProcessId.
    virtual uint32_t GetCurrentProcessId() = 0;
    // GetModuleFileNameW of the running executable. 0 or an error number.
    virtual Win32Error GetModuleFileName(std::wstring& path) = 0;

    // CoInitializeEx(nullptr, COINIT_MULTITHREADED) on the calling thread.
    // Where there is no COM the thread needs nothing joined and it is S_OK.
    virtual HRESULT CoInitializeEx() = 0;
    // CoUninitialize on the calling thread.
    virtual void CoUninitialize() = 0;
    // GetProcAddress of NtQuerySystemInformation, NtDuplicateObject and
    // NtQueryObject in ntdll.dll: how many of the three were found (none
    // where there is no ntdll).
    virtual uint32_t LookUpNtdllFunctions() = 0;
    // MFStartup(MF_VERSION, MFSTARTUP_FULL). Where the decoder needs no
    // start (FFmpeg) it is S_OK.
    virtual HRESULT MFStartup() = 0;
};

}  // namespace qv
