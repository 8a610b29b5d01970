#include "platform/linux/linux_files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_errors.h"
#include "platform/linux/linux_unique_fd.h"

namespace qv {

namespace {

std::string EnvironmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::string(value) : std::string();
}

std::string WithTrailingSlash(std::string folder) {
    if (folder.empty() || folder.back() != '/') folder += '/';
    return folder;
}

// The user's home: $HOME, else the password database.
std::string HomeFolder() {
    std::string home = EnvironmentValue("HOME");
    if (!home.empty()) return home;
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir) return entry->pw_dir;
    return {};
}

// Writes all of it, across short writes and interruptions.
bool WriteAll(int fd, const uint8_t* data, std::size_t size) {
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n == 0) errno = EIO;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

class CLinuxTemporaryFile : public CAddReleaseRef, public IFile {
public:
    CLinuxTemporaryFile(CUniqueFd fd, std::string path) : m_fd(std::move(fd)), m_path(std::move(path)) {}

    Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override {
        read = 0;
        ssize_t n;
        do {
            n = ::read(m_fd.get(), data, size);
        } while (n < 0 && errno == EINTR);
        if (n < 0) return Win32ErrorFromErrno(errno);
        read = static_cast<uint32_t>(n);
        return ERROR_SUCCESS;
    }
    Win32Error WriteFile(const void* data, uint32_t size, uint32_t& written) override {
        written = 0;
        if (!WriteAll(m_fd.get(), static_cast<const uint8_t*>(data), size)) return Win32ErrorFromErrno(errno);
        written = size;
        return ERROR_SUCCESS;
    }
    Win32Error SetFilePointer(int64_t offset) override {
        if (offset < 0) return ERROR_INVALID_PARAMETER;
        if (::lseek(m_fd.get(), static_cast<off_t>(offset), SEEK_SET) < 0) return Win32ErrorFromErrno(errno);
        return ERROR_SUCCESS;
    }
    // What another process wrote by path is in the shared page cache already;
    // the flush only has to settle our own writes, which fdatasync does
    // without the metadata cost of fsync.
    Win32Error FlushFileBuffers() override {
        if (::fdatasync(m_fd.get()) != 0) return Win32ErrorFromErrno(errno);
        return ERROR_SUCCESS;
    }

protected:
    ~CLinuxTemporaryFile() override { ::unlink(m_path.c_str()); }

private:
    CUniqueFd m_fd;
    const std::string m_path;
};

// The folder that the XDG variable names, else the one under the home. The
// XDG rules ignore a relative value. Empty when there is no home either.
std::string XdgFolder(const char* variable, const char* underHome) {
    std::string folder = EnvironmentValue(variable);
    if (!folder.empty() && folder.front() == '/') return folder;
    std::string home = HomeFolder();
    if (home.empty()) return {};
    return home + (home.back() == '/' ? "" : "/") + underHome;
}

}  // namespace

Win32Error CLinuxFiles::GetTempPath(std::string& path) {
    std::string folder = EnvironmentValue("TMPDIR");
    path = WithTrailingSlash(folder.empty() ? std::string("/tmp") : folder);
    return ERROR_SUCCESS;
}

Win32Error CLinuxFiles::GetTempFileName(const std::string& folder, std::string& path) {
    path.clear();
    // An empty folder is the current one, as on Windows.
    std::string name = (folder.empty() ? std::string("./") : WithTrailingSlash(folder)) + "qvXXXXXX.tmp";
    // Only the name is wanted: the file stays, its descriptor goes.
    CUniqueFd made(::mkostemps(name.data(), 4, O_CLOEXEC));
    if (!made) return errno == ENOENT ? kErrorPathNotFound : Win32ErrorFromErrno(errno);
    path = std::move(name);
    return ERROR_SUCCESS;
}

Win32Error CLinuxFiles::CreateTemporaryFile(const std::string& path, CRefPtr<IFile>& file) {
    file = nullptr;
    if (path.empty()) return ERROR_INVALID_PARAMETER;
    CUniqueFd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!fd) return Win32ErrorFromErrno(errno);
    file = MakeRef<CLinuxTemporaryFile>(std::move(fd), path);
    return ERROR_SUCCESS;
}

HRESULT CLinuxFiles::GetLocalAppDataFolder(std::wstring& path) {
    path.clear();
    std::string data = XdgFolder("XDG_DATA_HOME", ".local/share");
    if (data.empty()) return E_FAIL;
    path = Utf8ToWide(data);
    return S_OK;
}

Win32Error CLinuxFiles::GetUserConfigFolder(std::wstring& path) {
    path.clear();
    std::string config = XdgFolder("XDG_CONFIG_HOME", ".config");
    if (config.empty()) return kErrorPathNotFound;
    path = Utf8ToWide(config);
    return ERROR_SUCCESS;
}

Win32Error CLinuxFiles::GetFileAttributes(const std::wstring& path, uint32_t& attributes) {
    attributes = INVALID_FILE_ATTRIBUTES;
    const std::string name = WideToUtf8(path);
    struct stat info {};
    if (::lstat(name.c_str(), &info) != 0) return errno == ENOENT ? ERROR_FILE_NOT_FOUND : Win32ErrorFromErrno(errno);
    if (S_ISLNK(info.st_mode)) {
        struct stat target {};
        const bool toFolder = ::stat(name.c_str(), &target) == 0 && S_ISDIR(target.st_mode);
        attributes = FILE_ATTRIBUTE_REPARSE_POINT | (toFolder ? FILE_ATTRIBUTE_DIRECTORY : 0);
    } else {
        attributes = S_ISDIR(info.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    }
    return ERROR_SUCCESS;
}

Win32Error CLinuxFiles::CreateDirectory(const std::wstring& path) {
    if (path.empty()) return kErrorPathNotFound;
    if (::mkdir(WideToUtf8(path).c_str(), 0777) == 0) return ERROR_SUCCESS;
    if (errno == ENOENT) return kErrorPathNotFound;
    return Win32ErrorFromErrno(errno);
}

Win32Error CLinuxFiles::ReadWholeFile(const std::wstring& path, std::vector<uint8_t>& content) {
    content.clear();
    CUniqueFd fd(::open(WideToUtf8(path).c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) return Win32ErrorFromErrno(errno);
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) return Win32ErrorFromErrno(errno);
    if (!S_ISREG(info.st_mode)) return ERROR_ACCESS_DENIED;
    // The size is a hint only: the file may grow or shrink while it is read.
    std::vector<uint8_t> data;
    data.reserve(std::min<std::size_t>(static_cast<std::size_t>(std::max<off_t>(info.st_size, 0)), kMaxWholeFileBytes));
    uint8_t buffer[65536];
    for (;;) {
        ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return Win32ErrorFromErrno(errno);
        if (n == 0) break;
        if (data.size() + static_cast<std::size_t>(n) > kMaxWholeFileBytes) return kErrorFileTooLarge;
        data.insert(data.end(), buffer, buffer + n);
    }
    content = std::move(data);
    return ERROR_SUCCESS;
}

Win32Error CLinuxFiles::WriteWholeFile(const std::wstring& path, const std::vector<uint8_t>& content) {
    CUniqueFd fd(::open(WideToUtf8(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!fd) return Win32ErrorFromErrno(errno);
    if (!WriteAll(fd.get(), content.data(), content.size())) return Win32ErrorFromErrno(errno);
    return ERROR_SUCCESS;
}

Win32Error CLinuxFiles::MoveFileEx(const std::wstring& existing, const std::wstring& replaced) {
    if (::rename(WideToUtf8(existing).c_str(), WideToUtf8(replaced).c_str()) != 0) return Win32ErrorFromErrno(errno);
    return ERROR_SUCCESS;
}

}  // namespace qv
