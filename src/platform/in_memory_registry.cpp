#include "platform/in_memory_registry.h"

#include "platform/codes.h"

namespace qv {

namespace {

constexpr uint32_t kKeyQueryValue = 0x0001;
constexpr uint32_t kKeySetValue = 0x0002;
constexpr uint32_t kGenericRead = 0x80000000u;
constexpr uint32_t kGenericWrite = 0x40000000u;
constexpr uint32_t kGenericAll = 0x10000000u;
constexpr uint32_t kMaximumAllowed = 0x02000000u;
constexpr uint32_t kRegOptionCreateLink = 0x2;

bool MayQuery(uint32_t access) { return access & (kKeyQueryValue | kGenericRead | kGenericAll | kMaximumAllowed); }
bool MaySet(uint32_t access) { return access & (kKeySetValue | kGenericWrite | kGenericAll | kMaximumAllowed); }

class CInMemoryRegistryKey : public CAddReleaseRef, public IRegistryKey {
public:
    CInMemoryRegistryKey(CRefPtr<CInMemoryRegistry> registry, RegistryKeyLocation location, uint32_t access)
        : m_registry(std::move(registry)), m_location(std::move(location)), m_access(access) {}

    Win32Error RegQueryValueEx(const std::wstring& name, uint32_t& type, std::vector<uint8_t>& data) override {
        if (!MayQuery(m_access)) return ERROR_ACCESS_DENIED;
        return m_registry->KeyQueryValue(m_location, name, type, data);
    }
    Win32Error RegSetValueEx(const std::wstring& name, uint32_t type, const std::vector<uint8_t>& data) override {
        if (!MaySet(m_access)) return ERROR_ACCESS_DENIED;
        return m_registry->KeySetValue(m_location, name, type, data);
    }

private:
    const CRefPtr<CInMemoryRegistry> m_registry;
    const RegistryKeyLocation m_location;
    const uint32_t m_access;
};

}  // namespace

Win32Error CInMemoryRegistry::Run(bool writes, const Operation& operation) {
    std::lock_guard lock(m_mutex);
    RegistryRootSet changed;
    return operation(m_store, changed);
}

Win32Error CInMemoryRegistry::RegOpenKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options,
                                           uint32_t access, CRefPtr<IRegistryKey>& key) {
    return Open(RegistryOperation::Open, root, subKey, options, access, key);
}

Win32Error CInMemoryRegistry::RegCreateKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options,
                                             uint32_t access, CRefPtr<IRegistryKey>& key) {
    return Open(RegistryOperation::Create, root, subKey, options, access, key);
}

Win32Error CInMemoryRegistry::Open(RegistryOperation operation, RegistryRoot root, const std::wstring& subKey,
                                   uint32_t options, uint32_t access, CRefPtr<IRegistryKey>& key) {
    key = nullptr;
    const bool create = operation == RegistryOperation::Create;
    // Creating a link opens the key itself as well, so that its
    // "SymbolicLinkValue" can be written.
    const bool followLast = !(options & (kRegOptionOpenLink | kRegOptionCreateLink));
    RegistryKeyLocation location;
    Win32Error error = Run(create, [&](CRegistryStore& store, RegistryRootSet& changed) -> Win32Error {
        if (Win32Error injected = InjectedFailure(operation, root, subKey, {})) return injected;
        return store.OpenKey(root, subKey, followLast, create, location, changed);
    });
    if (error == ERROR_SUCCESS) key = MakeRef<CInMemoryRegistryKey>(CRefPtr<CInMemoryRegistry>(this), location, access);
    return error;
}

Win32Error CInMemoryRegistry::KeyQueryValue(const RegistryKeyLocation& location, const std::wstring& name,
                                         uint32_t& type, std::vector<uint8_t>& data) {
    return Run(false, [&](CRegistryStore& store, RegistryRootSet&) -> Win32Error {
        if (Win32Error injected = InjectedFailure(RegistryOperation::Query, location.root, location.path, name))
            return injected;
        return store.QueryValue(location, name, type, data);
    });
}

Win32Error CInMemoryRegistry::KeySetValue(const RegistryKeyLocation& location, const std::wstring& name, uint32_t type,
                                       const std::vector<uint8_t>& data) {
    return Run(true, [&](CRegistryStore& store, RegistryRootSet& changed) -> Win32Error {
        if (Win32Error injected = InjectedFailure(RegistryOperation::Set, location.root, location.path, name))
            return injected;
        Win32Error result = store.SetValue(location, name, type, data);
        if (result == ERROR_SUCCESS) changed.Mark(location.root);
        return result;
    });
}

}  // namespace qv
