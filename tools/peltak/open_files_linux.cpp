// The open files of a process from /proc/PID/fd: each entry is a link whose
// text names what the descriptor refers to, and a stat through the link
// reaches the object itself, whatever its name says.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "core/text.h"
#include "open_files.h"
#include "platform/linux/linux_errors.h"
#include "platform/linux/linux_unique_fd.h"
#include "sessions/interop_file_format.h"

namespace qv::peltak {

namespace {

struct DirCloser {
    void operator()(DIR* dir) const { ::closedir(dir); }
};

std::string ErrnoText(int error) {
    return std::string(std::strerror(error)) + " (errno " + std::to_string(error) + ")";
}

// The link's text, or nothing when the descriptor has gone meanwhile.
bool ReadLink(const std::string& link, std::string& target) {
    std::string buffer(256, '\0');
    for (;;) {
        const ssize_t length = ::readlink(link.c_str(), buffer.data(), buffer.size());
        if (length < 0) return false;
        if (static_cast<size_t>(length) < buffer.size()) {
            target.assign(buffer.data(), static_cast<size_t>(length));
            return true;
        }
        buffer.resize(buffer.size() * 2);
    }
}

constexpr std::string_view kDeletedSuffix = " (deleted)";

// A regular file that still has the name the link shows. The kernel marks a
// file whose name is gone with " (deleted)" after it; a file that is really
// called so is told apart by being found under that name.
bool IsNamedRegularFile(const std::string& link, const std::string& target) {
    if (target.empty() || target[0] != '/') return false;  // socket:[..], pipe:[..], anon_inode:..
    struct stat object {};
    if (::stat(link.c_str(), &object) != 0 || !S_ISREG(object.st_mode) || object.st_nlink == 0) return false;
    if (!target.ends_with(kDeletedSuffix)) return true;
    struct stat named {};
    return ::stat(target.c_str(), &named) == 0 && named.st_dev == object.st_dev && named.st_ino == object.st_ino;
}

}  // namespace

Win32Error ListOpenFiles(uint32_t processId, std::vector<std::wstring>& paths, std::string& problem) {
    paths.clear();
    const std::string folder = "/proc/" + std::to_string(processId) + "/fd";
    std::unique_ptr<DIR, DirCloser> dir(::opendir(folder.c_str()));
    if (!dir) {
        const int error = errno;
        if (error == ENOENT)
            problem = "there is no process " + std::to_string(processId);
        else if (error == EACCES || error == EPERM)
            problem = "the open files of process " + std::to_string(processId) +
                      " may not be read by this user: " + ErrnoText(error);
        else
            problem = "cannot read " + folder + ": " + ErrnoText(error);
        return Win32ErrorFromErrno(error);
    }

    std::vector<int> descriptors;
    errno = 0;
    while (const dirent* entry = ::readdir(dir.get())) {
        char* end = nullptr;
        const long fd = std::strtol(entry->d_name, &end, 10);
        if (end != entry->d_name && *end == '\0' && fd >= 0) descriptors.push_back(static_cast<int>(fd));
    }
    if (errno != 0) {
        // The process ended while its folder was read.
        const int error = errno;
        problem = "cannot read " + folder + ": " + ErrnoText(error);
        return Win32ErrorFromErrno(error);
    }
    std::sort(descriptors.begin(), descriptors.end());

    std::string target;
    for (int fd : descriptors) {
        const std::string link = folder + "/" + std::to_string(fd);
        if (!ReadLink(link, target) || !IsNamedRegularFile(link, target)) continue;
        paths.push_back(Utf8ToWide(target));
    }
    return 0;
}

Win32Error WriteInteropFile(const std::wstring& path, const std::vector<uint8_t>& content, std::string& problem) {
    const std::string name = WideToUtf8(path);
    // Non-blocking, so that a FIFO in its place fails instead of waiting for
    // a reader; no O_CREAT: the classifier made the file.
    CUniqueFd file(::open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    auto fail = [&](const char* what) {
        const int error = errno;
        problem = std::string(what) + " the interop file " + name + ": " + ErrnoText(error);
        return Win32ErrorFromErrno(error);
    };
    if (!file) return fail("cannot open");
    struct stat info {};
    if (::fstat(file.get(), &info) != 0) return fail("cannot look at");
    if (!S_ISREG(info.st_mode)) {
        problem = "the interop file " + name + " is not a regular file";
        return kErrorGenFailure;
    }

    auto writeAt = [&](const uint8_t* data, size_t size, off_t offset) {
        while (size > 0) {
            const ssize_t done = ::pwrite(file.get(), data, size, offset);
            if (done < 0 && errno == EINTR) continue;
            if (done <= 0) return false;
            data += done;
            size -= static_cast<size_t>(done);
            offset += done;
        }
        return true;
    };
    const size_t head = std::min<size_t>(content.size(), kInteropTotalLengthSize);
    // The length field stays zero until the rest is in place.
    const uint8_t zero[kInteropTotalLengthSize] = {};
    if (!writeAt(zero, head, 0) || !writeAt(content.data() + head, content.size() - head, static_cast<off_t>(head)))
        return fail("cannot write");
    if (::ftruncate(file.get(), static_cast<off_t>(content.size())) != 0) return fail("cannot set the end of");
    if (!writeAt(content.data(), head, 0)) return fail("cannot write");
    return 0;
}

}  // namespace qv::peltak
