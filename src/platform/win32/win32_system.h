// Facts of the machine on Windows, each a direct call of the system.
#pragma once

#include "platform/system.h"

namespace qv {

class CWin32System : public CAddReleaseRef, public ISystem {
public:
    uint32_t GetProductType() override;
    HRESULT CoCreateGuid(GUID& guid) override;
    FILETIME GetSystemTimeAsFileTime() override;
    uint32_t GetCurrentProcessId() override;
    Win32Error GetModuleFileName(std::wstring& path) override;
    HRESULT CoInitializeEx() override;
    void CoUninitialize() override;
    uint32_t LookUpNtdllFunctions() override;
    HRESULT MFStartup() override;
};

}  // namespace qv
