// The registry on Windows: RegOpenKeyExW, RegCreateKeyExW, RegQueryValueExW
// and RegSetValueExW under HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER, with
// the caller's options and access passed through; keys close with their
// last reference.
#pragma once

#include "platform/registry.h"

namespace qv {

class CWin32Registry : public CAddReleaseRef, public IRegistry {
public:
    Win32Error RegOpenKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options, uint32_t access,
                            CRefPtr<IRegistryKey>& key) override;
    Win32Error RegCreateKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options, uint32_t access,
                              CRefPtr<IRegistryKey>& key) override;
};

}  // namespace qv
