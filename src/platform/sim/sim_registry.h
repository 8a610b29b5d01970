// The simulated registry: the in-memory store, filled by a test through the
// helpers below, with any operation made to fail on request. Creating a key
// and setting a value are journaled.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/in_memory_registry.h"
#include "platform/sim/sim_journal.h"

namespace qv {

class CSimRegistry : public CInMemoryRegistry {
public:
    explicit CSimRegistry(CRefPtr<CSimJournal> journal) : m_journal(std::move(journal)) {}

    Win32Error RegCreateKeyEx(RegistryRoot root, const std::wstring& subKey, uint32_t options, uint32_t access,
                              CRefPtr<IRegistryKey>& key) override;
    Win32Error KeySetValue(const RegistryKeyLocation& location, const std::wstring& name, uint32_t type,
                           const std::vector<uint8_t>& data) override;

    // Makes the key (and its parents) and sets one value, following no link.
    void SetValue(RegistryRoot root, const std::wstring& keyPath, const std::wstring& name, uint32_t type,
                  std::vector<uint8_t> data);
    void SetDword(RegistryRoot root, const std::wstring& keyPath, const std::wstring& name, uint32_t value);
    // REG_SZ with its terminating null, as RegSetValueExW stores it.
    void SetString(RegistryRoot root, const std::wstring& keyPath, const std::wstring& name, const std::wstring& value);
    // Makes keyPath a link to the target key.
    void MakeLink(RegistryRoot root, const std::wstring& keyPath, RegistryRoot targetRoot,
                  const std::wstring& targetPath);
    void CreateKey(RegistryRoot root, const std::wstring& keyPath);

    bool KeyExists(RegistryRoot root, const std::wstring& keyPath);
    // The value as stored, or nothing.
    std::optional<RegistryValue> GetValue(RegistryRoot root, const std::wstring& keyPath, const std::wstring& name);

    // From now on the operation fails with the error: RegOpenKeyEx or
    // RegCreateKeyEx of that path as asked for, RegQueryValueEx or
    // RegSetValueEx on the key of that path (a followed link counts by its
    // target) for the named value, or for every value without a name.
    void FailOpen(RegistryRoot root, const std::wstring& keyPath, Win32Error error);
    void FailCreate(RegistryRoot root, const std::wstring& keyPath, Win32Error error);
    void FailQuery(RegistryRoot root, const std::wstring& keyPath, std::optional<std::wstring> valueName,
                   Win32Error error);
    void FailSet(RegistryRoot root, const std::wstring& keyPath, std::optional<std::wstring> valueName,
                 Win32Error error);
    void ClearFailures();

protected:
    Win32Error InjectedFailure(RegistryOperation operation, RegistryRoot root, const std::wstring& keyPath,
                               const std::wstring& valueName) override;

private:
    struct Failure {
        RegistryOperation operation;
        RegistryRoot root;
        std::wstring keyPath;                   // canonical
        std::optional<std::wstring> valueName;  // lower case; nothing for all
        Win32Error error;
    };
    void AddFailure(RegistryOperation operation, RegistryRoot root, const std::wstring& keyPath,
                    std::optional<std::wstring> valueName, Win32Error error);

    const CRefPtr<CSimJournal> m_journal;
    // Guarded by m_mutex of the base, like the store.
    std::vector<Failure> m_failures;
};

}  // namespace qv
