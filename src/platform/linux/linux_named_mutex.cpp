#include "platform/linux/linux_named_mutex.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "platform/codes.h"
#include "platform/linux/linux_errors.h"

namespace qv {

namespace {

// The longest owner record that is read back; anything longer is someone
// else's data and only proves that the file is not empty.
constexpr std::size_t kMaxRecordBytes = 64;

struct flock ByteZero(short type) {
    struct flock range {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = 0;
    range.l_len = 1;
    return range;
}

// Whether another handle is open on the file or somebody holds the flock.
// The caller must not hold the existence lock itself on this description.
bool SomebodyHasIt(int fd) {
    struct flock probe = ByteZero(F_WRLCK);
    if (::fcntl(fd, F_OFD_GETLK, &probe) == 0 && probe.l_type != F_UNLCK) return true;
    if (::flock(fd, LOCK_SH | LOCK_NB) != 0) return errno == EWOULDBLOCK;
    ::flock(fd, LOCK_UN);
    return false;
}

bool MarkOpen(int fd) {
    struct flock mark = ByteZero(F_RDLCK);
    int result;
    do {
        result = ::fcntl(fd, F_OFD_SETLKW, &mark);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

}  // namespace

Win32Error CLinuxNamedMutex::Open(const std::string& path, bool create, bool initialOwner,
                                  CRefPtr<CLinuxNamedMutex>& mutex) {
    mutex = nullptr;
    CUniqueFd fd(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | (create ? O_CREAT : 0), 0600));
    if (!fd) return Win32ErrorFromErrno(errno);
    const bool existed = SomebodyHasIt(fd.get());
    if (!create && !existed) return ERROR_FILE_NOT_FOUND;
    if (!MarkOpen(fd.get())) return Win32ErrorFromErrno(errno);
    auto opened = MakeRef<CLinuxNamedMutex>(std::move(fd));
    // As on Windows, the ownership asked for is ignored when the name
    // existed already; a racing creator may also have got it first.
    if (create && initialOwner && !existed) opened->TryTake();
    mutex = opened;
    return ERROR_SUCCESS;
}

CLinuxNamedMutex::Take CLinuxNamedMutex::RecordTake() {
    ++m_count;
    char record[kMaxRecordBytes];
    ssize_t n;
    do {
        n = ::pread(m_fd.get(), record, sizeof record, 0);
    } while (n < 0 && errno == EINTR);
    const bool abandoned = n > 0;
    const std::string mine = std::to_string(::getpid()) + "\n";
    if (::ftruncate(m_fd.get(), 0) == 0) {
        [[maybe_unused]] ssize_t written = ::pwrite(m_fd.get(), mine.data(), mine.size(), 0);
    }
    return abandoned ? Take::Abandoned : Take::Yes;
}

CLinuxNamedMutex::Take CLinuxNamedMutex::TryTake() {
    std::lock_guard lock(m_mutex);
    if (m_count > 0) {
        ++m_count;
        return Take::Yes;
    }
    if (::flock(m_fd.get(), LOCK_EX | LOCK_NB) != 0) return Take::No;
    return RecordTake();
}

CLinuxNamedMutex::Take CLinuxNamedMutex::CompleteTake() {
    std::lock_guard lock(m_mutex);
    if (m_count > 0) {
        ++m_count;
        return Take::Yes;
    }
    return RecordTake();
}

void CLinuxNamedMutex::GiveBack() {
    std::lock_guard lock(m_mutex);
    if (m_count == 0) ::flock(m_fd.get(), LOCK_UN);
}

Win32Error CLinuxNamedMutex::ReleaseMutex() {
    std::lock_guard lock(m_mutex);
    if (m_count == 0) return kErrorNotOwner;
    if (--m_count > 0) return ERROR_SUCCESS;
    // The record goes first: once the lock is free, the next taker reads it.
    [[maybe_unused]] int truncated = ::ftruncate(m_fd.get(), 0);
    ::flock(m_fd.get(), LOCK_UN);
    return ERROR_SUCCESS;
}

}  // namespace qv
