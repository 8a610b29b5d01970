// The registry as data: two roots of keys, each key a set of values of a
// type and some bytes. The simulated registry and the Linux file registry
// both keep their contents here, so that they open, create and follow links
// the same way.
//
// Keys and value names are matched without regard to case (towlower, as far
// as the C library folds); a key keeps the spelling of its first creation.
// A key path is a backslash-separated list of names; empty names (a leading,
// doubled or trailing backslash) are skipped, so "Software\\X\\" and
// "Software\X" name the same key. The empty path is the root itself.
//
// A link is a key that holds a value "SymbolicLinkValue" of type REG_LINK,
// whose data is the target as UTF-16LE text: "\REGISTRY\MACHINE\<path>" for
// HKEY_LOCAL_MACHINE, "\REGISTRY\USER\<user>\<path>" for HKEY_CURRENT_USER
// (any <user>: there is only the one). Not thread-safe: callers lock.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace qv {

struct RegistryValue {
    std::wstring name;  // as first written
    uint32_t type = 0;
    std::vector<uint8_t> data;
};

struct RegistryKeyData {
    std::wstring path;                            // as first created, "" for the root
    std::map<std::wstring, RegistryValue> values;  // by lower-case name
};

// A set of the two roots: which ones an operation changed.
struct RegistryRootSet {
    bool localMachine = false;
    bool currentUser = false;
    void Mark(RegistryRoot root) { (root == RegistryRoot::CurrentUser ? currentUser : localMachine) = true; }
    bool Has(RegistryRoot root) const { return root == RegistryRoot::CurrentUser ? currentUser : localMachine; }
    bool Any() const { return localMachine || currentUser; }
};

// Where an open key lives: its root and lower-case path.
struct RegistryKeyLocation {
    RegistryRoot root = RegistryRoot::LocalMachine;
    std::wstring path;
};

class CRegistryStore {
public:
    static constexpr const wchar_t* kLinkValueName = L"SymbolicLinkValue";
    // ERROR_KEY_DELETED: the key behind an open handle is gone.
    static constexpr Win32Error kErrorKeyDeleted = 1018;
    // ERROR_CANT_RESOLVE_FILENAME: links that lead round in a circle.
    static constexpr Win32Error kErrorCantResolveFilename = 1921;

    CRegistryStore();

    // RegOpenKeyExW (create false) or RegCreateKeyExW (create true). Links on
    // the way are followed; the last key is opened as itself when followLast
    // is false (REG_OPTION_OPEN_LINK). created gets the roots in which keys
    // were made (a link may lead from one root into the other).
    Win32Error OpenKey(RegistryRoot root, std::wstring_view subKey, bool followLast, bool create,
                       RegistryKeyLocation& location, RegistryRootSet& created);

    Win32Error QueryValue(const RegistryKeyLocation& key, std::wstring_view name, uint32_t& type,
                          std::vector<uint8_t>& data) const;
    Win32Error SetValue(const RegistryKeyLocation& key, std::wstring_view name, uint32_t type,
                        std::vector<uint8_t> data);

    // Direct access for loading, saving and tests: no links are followed.
    // PutKey makes the key and its parents and returns it.
    RegistryKeyData& PutKey(RegistryRoot root, std::wstring_view path);
    const std::map<std::wstring, RegistryKeyData>& Keys(RegistryRoot root) const { return m_roots[Index(root)]; }
    void ClearRoot(RegistryRoot root);

    // The data of a "SymbolicLinkValue" that points at the given key.
    static std::vector<uint8_t> LinkData(RegistryRoot targetRoot, std::wstring_view targetPath);
    // The lower-case form of a path by which keys are found.
    static std::wstring CanonicalPath(std::wstring_view path);

private:
    static std::size_t Index(RegistryRoot root) { return root == RegistryRoot::CurrentUser ? 1 : 0; }
    Win32Error Resolve(RegistryRoot root, std::wstring_view subKey, bool followLast, bool create,
                       RegistryKeyLocation& location, RegistryRootSet& created, int& hops);
    enum class Link { None, Target, Broken };
    static Link LinkTarget(const RegistryKeyData& key, RegistryRoot& root, std::wstring& path);

    std::map<std::wstring, RegistryKeyData> m_roots[2];
};

}  // namespace qv
