// Splitting a path into drive, folder, file name and extension, as the
// platform's _wsplitpath_s does: "/" and "\" both separate, the extension
// starts at the last "." of the last part and keeps it. Each part has a
// buffer of a given number of characters, terminator included; a part that
// does not fit fails the whole split and leaves every part empty.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qv {

struct PathParts {
    std::wstring drive;
    std::wstring directory;
    std::wstring name;
    std::wstring extension;
};

bool SplitPath(std::wstring_view path, PathParts& parts, std::size_t driveChars = 3, std::size_t directoryChars = 256,
               std::size_t nameChars = 256, std::size_t extensionChars = 256);

}  // namespace qv
