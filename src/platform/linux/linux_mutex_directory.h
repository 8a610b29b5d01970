// Where the named mutexes of "Global\" live on Linux: one lock file per name
// in a folder that the user's processes share, $XDG_RUNTIME_DIR/quorvane-mutexes,
// or /tmp/quorvane-mutexes-<uid> where XDG_RUNTIME_DIR is not set (as for
// root in a plain shell). The folder is made private to the user (0700); a
// folder in /tmp that is not the user's own, or that others may write, is
// refused, since anyone who could place a file there could hold our mutexes.
#pragma once

#include <string>

#include "platform/types.h"

namespace qv {

// The folder, made if missing. 0 or an error number.
Win32Error MutexDirectory(std::string& directory);

// The file name for a mutex name: letters, digits, "-", "_", "{", "}" and
// "." (not first) stand as they are; every other byte of the UTF-8 text is
// written "%XX", so that no name can reach outside the folder. False for an
// empty name, or one whose file name would be longer than a file system takes.
bool MutexFileName(const std::wstring& name, std::string& fileName);

}  // namespace qv
