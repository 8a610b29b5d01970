#include "platform/linux/linux_mutex_directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_errors.h"

namespace qv {

namespace {

// Room under the usual 255-byte limit of a file name.
constexpr std::size_t kMaxFileNameBytes = 240;

bool KeptAsItIs(unsigned char c, bool first) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
    if (c == '-' || c == '_' || c == '{' || c == '}') return true;
    return c == '.' && !first;  // no "." or ".." and no hidden files
}

Win32Error EnsurePrivateDirectory(const std::string& path, bool mustBeOurs) {
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return Win32ErrorFromErrno(errno);
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return Win32ErrorFromErrno(errno);
    if (!S_ISDIR(info.st_mode)) return ERROR_ACCESS_DENIED;
    if (mustBeOurs && (info.st_uid != ::geteuid() || (info.st_mode & 0022) != 0)) return ERROR_ACCESS_DENIED;
    return ERROR_SUCCESS;
}

}  // namespace

Win32Error MutexDirectory(std::string& directory) {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && runtime[0] == '/') {
        directory = std::string(runtime) + "/quorvane-mutexes";
        return EnsurePrivateDirectory(directory, false);
    }
    directory = "/tmp/quorvane-mutexes-" + std::to_string(::geteuid());
    return EnsurePrivateDirectory(directory, true);
}

bool MutexFileName(const std::wstring& name, std::string& fileName) {
    fileName.clear();
    if (name.empty()) return false;
    static const char kHex[] = "0123456789ABCDEF";
    const std::string bytes = WideToUtf8(name);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        if (KeptAsItIs(c, i == 0)) {
            fileName += static_cast<char>(c);
        } else {
            fileName += '%';
            fileName += kHex[c >> 4];
            fileName += kHex[c & 0xF];
        }
        if (fileName.size() > kMaxFileNameBytes) {
            fileName.clear();
            return false;
        }
    }
    return true;
}

}  // namespace qv
