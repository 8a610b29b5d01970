// The registry port over a CRegistryStore: the common half of the simulated
// registry and the Linux file registry. Every operation runs under one lock
// through Run, which a subclass overrides to load the store before and save
// it after. Keys remember their access, so a key opened for reading refuses
// writes as on Windows.
#pragma once

#include <functional>
#include <mutex>
#include <string>

#include "platform/registry.h"
#include "platform/registry_store.h"

namespace qv {

enum class RegistryOperation { Open, Create, Query, Set };

class CInMemoryRegistry : public CAddReleaseRef, public IRegistry {
public:
    Win32Error RegOpenKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options, uint32_t access,
                            CRefPtr<IRegistryKey>& key) override;
    Win32Error RegCreateKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options, uint32_t access,
                              CRefPtr<IRegistryKey>& key) override;

    // What the keys call.
    Win32Error KeyQueryValue(const RegistryKeyLocation& location, const std::wstring& name, uint32_t& type,
                             std::vector<uint8_t>& data);
    virtual Win32Error KeySetValue(const RegistryKeyLocation& location, const std::wstring& name, uint32_t type,
                                   const std::vector<uint8_t>& data);

protected:
    // An operation marks the roots that it changed, for the subclass to save.
    using Operation = std::function<Win32Error(CRegistryStore& store, RegistryRootSet& changed)>;

    // Runs one operation on the store under the lock. writes says whether it
    // may change the store.
    virtual Win32Error Run(bool writes, const Operation& operation);
    // A failure that a test has asked for; 0 for none. keyPath is the path as
    // asked for (open, create) or the key's own (query, set).
    virtual Win32Error InjectedFailure(RegistryOperation operation, RegistryRoot root, const std::wstring& keyPath,
                                       const std::wstring& valueName) {
        return 0;
    }

    ~CInMemoryRegistry() override = default;

    std::mutex m_mutex;
    CRegistryStore m_store;

private:
    Win32Error Open(RegistryOperation operation, RegistryRoot root, const std::wstring& subKey, uint32_t options,
                    uint32_t access, CRefPtr<IRegistryKey>& key);
};

}  // namespace qv
