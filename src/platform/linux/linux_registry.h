// The registry on Linux: the in-memory store, kept in two JSON files of the
// user's, HKEY_LOCAL_MACHINE.json and HKEY_CURRENT_USER.json (format in
// platform/registry_json.h), in $QUORVANE_REGISTRY_DIR or else in
// ${XDG_CONFIG_HOME:-$HOME/.config}/quorvane/registry.
//
// Every operation first brings the store up to date with the files, so that
// a value changed by hand counts from the next read on; a file that has not
// changed since it was last read is not parsed again. A write (a value set,
// a key created) rewrites the file of its root at once through a temporary
// file and a rename, under a lock file that keeps writers of several
// processes apart. A missing file is an empty root. A malformed one reads as
// an empty root, with one line on standard error per version of the file,
// and is never written over: writes to that root fail with ERROR_BADDB
// until someone repairs or removes it, so a hand edit with a typo in it is
// not lost.
#pragma once

#include <string>

#include "platform/in_memory_registry.h"

namespace qv {

class CLinuxRegistry : public CInMemoryRegistry {
public:
    // ERROR_BADDB: the root's file is malformed and is left as it is.
    static constexpr Win32Error kErrorBadDb = 1009;

    explicit CLinuxRegistry(std::string directory);

    // The directory that the environment chooses; empty if there is none
    // (no QUORVANE_REGISTRY_DIR and no home).
    static std::string DefaultDirectory();
    // The file of one root in the directory.
    std::string FilePath(RegistryRoot root) const;

protected:
    Win32Error Run(bool writes, const Operation& operation) override;

private:
    // What the file of a root looked like when it was last read.
    struct FileState {
        bool known = false;  // false: read it at the next operation
        bool exists = false;
        bool malformed = false;
        unsigned long long device = 0, inode = 0, size = 0;
        long long mtimeSeconds = 0, mtimeNanoseconds = 0;
    };
    void Refresh(RegistryRoot root);
    Win32Error Save(RegistryRoot root);
    FileState& State(RegistryRoot root) { return m_files[root == RegistryRoot::CurrentUser ? 1 : 0]; }

    const std::string m_directory;
    FileState m_files[2];  // guarded by m_mutex
};

}  // namespace qv
