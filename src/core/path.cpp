#include "core/path.h"

namespace qv {

bool SplitPath(std::wstring_view path, PathParts& parts, std::size_t driveChars, std::size_t directoryChars,
               std::size_t nameChars, std::size_t extensionChars) {
    parts = PathParts{};
    PathParts result;
    std::wstring_view rest = path;
    if (rest.size() >= 2 && rest[1] == L':') {
        result.drive = rest.substr(0, 2);
        rest.remove_prefix(2);
    }
    const std::size_t lastSeparator = rest.find_last_of(L"\\/");
    if (lastSeparator != std::wstring_view::npos) {
        result.directory = rest.substr(0, lastSeparator + 1);
        rest.remove_prefix(lastSeparator + 1);
    }
    const std::size_t dot = rest.find_last_of(L'.');
    if (dot != std::wstring_view::npos) {
        result.extension = rest.substr(dot);
        rest = rest.substr(0, dot);
    }
    result.name = rest;
    if (result.drive.size() >= driveChars || result.directory.size() >= directoryChars ||
        result.name.size() >= nameChars || result.extension.size() >= extensionChars)
        return false;
    parts = std::move(result);
    return true;
}

}  // namespace qv
