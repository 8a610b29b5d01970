#include "platform/win32/win32_registry.h"

#include "platform/win32/windows_api.h"

namespace qv {

namespace {

HKEY RootKey(RegistryRoot root) { return root == RegistryRoot::CurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE; }

class CWin32RegistryKey : public CAddReleaseRef, public IRegistryKey {
public:
    explicit CWin32RegistryKey(HKEY key) : m_key(key) {}

    Win32Error RegQueryValueEx(const std::wstring& name, uint32_t& type, std::vector<uint8_t>& data) override {
        // Ask for the size, then read; a value that grows in between is
        // asked for again.
        for (int attempt = 0; attempt < 8; ++attempt) {
            DWORD valueType = 0;
            DWORD size = 0;
            LSTATUS status = ::RegQueryValueExW(m_key, name.c_str(), nullptr, &valueType, nullptr, &size);
            if (status != ERROR_SUCCESS) return static_cast<Win32Error>(status);
            data.resize(size);
            status = ::RegQueryValueExW(m_key, name.c_str(), nullptr, &valueType, size ? data.data() : nullptr, &size);
            if (status == ERROR_MORE_DATA) continue;
            if (status != ERROR_SUCCESS) return static_cast<Win32Error>(status);
            data.resize(size);
            type = valueType;
            return ERROR_SUCCESS;
        }
        return ERROR_MORE_DATA;
    }

    Win32Error RegSetValueEx(const std::wstring& name, uint32_t type, const std::vector<uint8_t>& data) override {
        return static_cast<Win32Error>(::RegSetValueExW(m_key, name.c_str(), 0, type,
                                                        data.empty() ? nullptr : data.data(),
                                                        static_cast<DWORD>(data.size())));
    }

private:
    ~CWin32RegistryKey() override { ::RegCloseKey(m_key); }
    HKEY m_key;
};

}  // namespace

Win32Error CWin32Registry::RegOpenKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options,
                                        uint32_t access, CRefPtr<IRegistryKey>& key) {
    key = nullptr;
    HKEY opened = nullptr;
    LSTATUS status = ::RegOpenKeyExW(RootKey(root), subKey.c_str(), options, access, &opened);
    if (status != ERROR_SUCCESS) return static_cast<Win32Error>(status);
    key = MakeRef<CWin32RegistryKey>(opened);
    return ERROR_SUCCESS;
}

Win32Error CWin32Registry::RegCreateKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options,
                                          uint32_t access, CRefPtr<IRegistryKey>& key) {
    key = nullptr;
    HKEY opened = nullptr;
    LSTATUS status = ::RegCreateKeyExW(RootKey(root), subKey.c_str(), 0, nullptr, options, access, nullptr,
                                       &opened, nullptr);
    if (status != ERROR_SUCCESS) return static_cast<Win32Error>(status);
    key = MakeRef<CWin32RegistryKey>(opened);
    return ERROR_SUCCESS;
}

}  // namespace qv
