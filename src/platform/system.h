// Facts and services of the machine and the running process that the model
// asks for: the product type, new GUIDs, the system clock, the process id and
// the path of the executable.
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
};

}  // namespace qv
