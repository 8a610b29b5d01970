#include "platform/sim/sim_registry.h"

#include "core/text.h"

namespace qv {

Win32Error CSimRegistry::RegCreateKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options,
                                        uint32_t access, CRefPtr<IRegistryKey>& key) {
    m_journal->Record(L"Registry::RegCreateKeyEx", subKey);
    return CInMemoryRegistry::RegCreateKeyEx(root, subKey, options, access, key);
}

Win32Error CSimRegistry::KeySetValue(const RegistryKeyLocation& location, const std::wstring& name, uint32_t type,
                                     const std::vector<uint8_t>& data) {
    m_journal->Record(L"Registry::RegSetValueEx", name);
    return CInMemoryRegistry::KeySetValue(location, name, type, data);
}

void CSimRegistry::SetValue(RegistryRoot root, const std::wstring& keyPath, const std::wstring& name, uint32_t type,
                            std::vector<uint8_t> data) {
    std::lock_guard lock(m_mutex);
    RegistryKeyData& key = m_store.PutKey(root, keyPath);
    auto [it, inserted] = key.values.try_emplace(ToLowerWide(name), RegistryValue{name, 0, {}});
    it->second.type = type;
    it->second.data = std::move(data);
}

void CSimRegistry::SetDword(RegistryRoot root, const std::wstring& keyPath, const std::wstring& name, uint32_t value) {
    SetValue(root, keyPath, name, kRegDword,
             {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value >> 16),
              static_cast<uint8_t>(value >> 24)});
}

void CSimRegistry::SetString(RegistryRoot root, const std::wstring& keyPath, const std::wstring& name,
                             const std::wstring& value) {
    std::vector<uint8_t> data = WideToUtf16Le(value);
    data.push_back(0);
    data.push_back(0);
    SetValue(root, keyPath, name, kRegSz, std::move(data));
}

void CSimRegistry::MakeLink(RegistryRoot root, const std::wstring& keyPath, RegistryRoot targetRoot,
                            const std::wstring& targetPath) {
    SetValue(root, keyPath, CRegistryStore::kLinkValueName, kRegLink, CRegistryStore::LinkData(targetRoot, targetPath));
}

void CSimRegistry::CreateKey(RegistryRoot root, const std::wstring& keyPath) {
    std::lock_guard lock(m_mutex);
    m_store.PutKey(root, keyPath);
}

bool CSimRegistry::KeyExists(RegistryRoot root, const std::wstring& keyPath) {
    std::lock_guard lock(m_mutex);
    return m_store.Keys(root).count(CRegistryStore::CanonicalPath(keyPath)) != 0;
}

std::optional<RegistryValue> CSimRegistry::GetValue(RegistryRoot root, const std::wstring& keyPath,
                                                    const std::wstring& name) {
    std::lock_guard lock(m_mutex);
    const auto& keys = m_store.Keys(root);
    auto key = keys.find(CRegistryStore::CanonicalPath(keyPath));
    if (key == keys.end()) return std::nullopt;
    auto value = key->second.values.find(ToLowerWide(name));
    if (value == key->second.values.end()) return std::nullopt;
    return value->second;
}

void CSimRegistry::AddFailure(RegistryOperation operation, RegistryRoot root, const std::wstring& keyPath,
                              std::optional<std::wstring> valueName, Win32Error error) {
    std::lock_guard lock(m_mutex);
    if (valueName) valueName = ToLowerWide(*valueName);
    m_failures.push_back({operation, root, CRegistryStore::CanonicalPath(keyPath), std::move(valueName), error});
}

void CSimRegistry::FailOpen(RegistryRoot root, const std::wstring& keyPath, Win32Error error) {
    AddFailure(RegistryOperation::Open, root, keyPath, std::nullopt, error);
}
void CSimRegistry::FailCreate(RegistryRoot root, const std::wstring& keyPath, Win32Error error) {
    AddFailure(RegistryOperation::Create, root, keyPath, std::nullopt, error);
}
void CSimRegistry::FailQuery(RegistryRoot root, const std::wstring& keyPath, std::optional<std::wstring> valueName,
                             Win32Error error) {
    AddFailure(RegistryOperation::Query, root, keyPath, std::move(valueName), error);
}
void CSimRegistry::FailSet(RegistryRoot root, const std::wstring& keyPath, std::optional<std::wstring> valueName,
                           Win32Error error) {
    AddFailure(RegistryOperation::Set, root, keyPath, std::move(valueName), error);
}

void CSimRegistry::ClearFailures() {
    std::lock_guard lock(m_mutex);
    m_failures.clear();
}

Win32Error CSimRegistry::InjectedFailure(RegistryOperation operation, RegistryRoot root, const std::wstring& keyPath,
                                         const std::wstring& valueName) {
    // Runs inside an operation, with m_mutex held.
    const std::wstring path = CRegistryStore::CanonicalPath(keyPath);
    const std::wstring name = ToLowerWide(valueName);
    for (const Failure& failure : m_failures) {
        if (failure.operation == operation && failure.root == root && failure.keyPath == path &&
            (!failure.valueName || *failure.valueName == name))
            return failure.error;
    }
    return 0;
}

}  // namespace qv
