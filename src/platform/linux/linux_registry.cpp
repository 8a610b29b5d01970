#include "platform/linux/linux_registry.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/codes.h"
#include "platform/linux/linux_unique_fd.h"
#include "platform/registry_json.h"

namespace qv {

namespace {

constexpr Win32Error kErrorPathNotFound = 3;
constexpr Win32Error kErrorWriteFault = 29;
constexpr Win32Error kErrorDiskFull = 112;
// A registry file is a few kilobytes; anything this big is not one.
constexpr off_t kMaxFileSize = 16 * 1024 * 1024;

Win32Error ErrorFromErrno(int error) {
    switch (error) {
        case EACCES:
        case EPERM:
        case EROFS: return ERROR_ACCESS_DENIED;
        case ENOSPC:
        case EDQUOT: return kErrorDiskFull;
        case ENOENT:
        case ENOTDIR: return kErrorPathNotFound;
        default: return kErrorWriteFault;
    }
}

Win32Error MakeDirectories(const std::string& directory) {
    for (std::size_t end = 1; end <= directory.size(); ++end) {
        if (end != directory.size() && directory[end] != '/') continue;
        std::string prefix = directory.substr(0, end);
        if (::mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) return ErrorFromErrno(errno);
    }
    return ERROR_SUCCESS;
}

bool WriteAll(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

// An exclusive lock on the directory's lock file while a write reads,
// changes and saves a root, so that two processes do not lose each other's
// writes. Released with the descriptor.
class CWriterLock {
public:
    explicit CWriterLock(const std::string& directory) {
        if (directory.empty() || MakeDirectories(directory) != ERROR_SUCCESS) return;
        CUniqueFd fd(::open((directory + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        if (!fd) return;
        while (::flock(fd.get(), LOCK_EX) != 0) {
            if (errno != EINTR) return;
        }
        m_fd = std::move(fd);
    }

private:
    CUniqueFd m_fd;
};

}  // namespace

CLinuxRegistry::CLinuxRegistry(std::string directory) : m_directory(std::move(directory)) {}

std::string CLinuxRegistry::DefaultDirectory() {
    if (const char* dir = std::getenv("QUORVANE_REGISTRY_DIR"); dir && *dir) return dir;
    std::string config;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg) {
        config = xdg;
    } else {
        std::string home;
        if (const char* env = std::getenv("HOME"); env && *env) {
            home = env;
        } else {
            // No HOME (a service, say): the account's home directory.
            std::vector<char> buffer(16384);
            passwd entry{};
            passwd* found = nullptr;
            if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir)
                home = found->pw_dir;
        }
        if (home.empty()) return {};
        config = home + "/.config";
    }
    return config + "/quorvane/registry";
}

std::string CLinuxRegistry::FilePath(RegistryRoot root) const {
    return m_directory + (root == RegistryRoot::CurrentUser ? "/HKEY_CURRENT_USER.json" : "/HKEY_LOCAL_MACHINE.json");
}

Win32Error CLinuxRegistry::Run(bool writes, const Operation& operation) {
    std::lock_guard lock(m_mutex);
    std::optional<CWriterLock> writerLock;
    if (writes) writerLock.emplace(m_directory);
    Refresh(RegistryRoot::LocalMachine);
    Refresh(RegistryRoot::CurrentUser);
    RegistryRootSet changed;
    Win32Error error = operation(m_store, changed);
    for (RegistryRoot root : {RegistryRoot::LocalMachine, RegistryRoot::CurrentUser}) {
        if (!changed.Has(root)) continue;
        if (Win32Error saveError = Save(root)) {
            // The store now holds what the file does not. A malformed file
            // reads as empty; any other is read again at the next operation,
            // so that nothing unsaved shows.
            if (State(root).malformed) {
                m_store.ClearRoot(root);
            } else {
                State(root).known = false;
            }
            if (error == ERROR_SUCCESS) error = saveError;
        }
    }
    return error;
}

void CLinuxRegistry::Refresh(RegistryRoot root) {
    FileState now;
    now.known = true;
    std::string text;
    CUniqueFd fd(m_directory.empty() ? -1 : ::open(FilePath(root).c_str(), O_RDONLY | O_CLOEXEC));
    struct stat st {};
    if (fd && ::fstat(fd.get(), &st) == 0) {
        now.exists = true;
        now.device = st.st_dev;
        now.inode = st.st_ino;
        now.size = static_cast<unsigned long long>(st.st_size);
        now.mtimeSeconds = st.st_mtim.tv_sec;
        now.mtimeNanoseconds = st.st_mtim.tv_nsec;
    }
    FileState& last = State(root);
    if (last.known && last.exists == now.exists && last.device == now.device && last.inode == now.inode &&
        last.size == now.size && last.mtimeSeconds == now.mtimeSeconds && last.mtimeNanoseconds == now.mtimeNanoseconds)
        return;

    std::string problem;
    if (!now.exists) {
        m_store.ClearRoot(root);
    } else if (!S_ISREG(st.st_mode)) {
        problem = "not a regular file";
    } else if (st.st_size > kMaxFileSize) {
        problem = "larger than 16 MiB";
    } else {
        char buffer[65536];
        for (;;) {
            ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) {
                problem = "cannot be read";
                break;
            }
            if (n == 0) break;
            text.append(buffer, static_cast<std::size_t>(n));
            if (text.size() > static_cast<std::size_t>(kMaxFileSize)) {
                problem = "larger than 16 MiB";
                break;
            }
        }
        if (problem.empty()) ReadRegistryRootJson(text, m_store, root, problem);
    }
    if (!problem.empty()) {
        m_store.ClearRoot(root);
        now.malformed = true;
        std::fprintf(stderr, "quorvane registry: %s: %s; read as empty and left unchanged\n", FilePath(root).c_str(),
                     problem.c_str());
    }
    last = now;
}

Win32Error CLinuxRegistry::Save(RegistryRoot root) {
    if (m_directory.empty()) return kErrorPathNotFound;
    if (State(root).malformed) return kErrorBadDb;
    if (Win32Error error = MakeDirectories(m_directory)) return error;
    const std::string path = FilePath(root);
    const std::string text = WriteRegistryRootJson(m_store, root);

    std::string temporary = path + ".XXXXXX";
    CUniqueFd fd(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!fd) return ErrorFromErrno(errno);
    // A file made by hand keeps its permissions.
    struct stat old {};
    if (::stat(path.c_str(), &old) == 0) ::fchmod(fd.get(), old.st_mode & 07777);
    if (!WriteAll(fd.get(), text) || ::fsync(fd.get()) != 0 || ::close(fd.release()) != 0 ||
        ::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        return ErrorFromErrno(error);
    }
    CUniqueFd directory(::open(m_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) ::fsync(directory.get());

    // Our own write is no news: remember the file as it is now.
    struct stat st {};
    FileState& state = State(root);
    if (::stat(path.c_str(), &st) == 0) {
        state.known = true;
        state.exists = true;
        state.malformed = false;
        state.device = st.st_dev;
        state.inode = st.st_ino;
        state.size = static_cast<unsigned long long>(st.st_size);
        state.mtimeSeconds = st.st_mtim.tv_sec;
        state.mtimeNanoseconds = st.st_mtim.tv_nsec;
    } else {
        state.known = false;
    }
    return ERROR_SUCCESS;
}

}  // namespace qv
