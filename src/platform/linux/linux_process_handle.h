// An open process on Linux: a pidfd, which refers to that very process for
// as long as it is held (a later process with the same id is not it), and
// which polls readable once the process has ended.
//
// The image path and start time are read from /proc when the handle is
// opened, while the pidfd proves the process is still the one meant. Times:
// creation is the boot time plus the start ticks of /proc/PID/stat, exact
// to the clock tick and the same at every read; exit is the moment this
// handle first saw the process ended (Linux keeps no exit time); kernel and
// user time are the last ones read while the process could still be read.
//
// Exit codes: only a parent can learn the exit code of a process, so a child
// started by CreateProcess gives its own (128 + the signal when a signal
// ended it), and any other process gives 0 once it has ended; 259
// (STILL_ACTIVE) while it runs. A child is reaped when its end is first
// seen; one that still runs when its last handle goes is reaped by a thread
// that waits for it, so that no zombie is left behind.
#pragma once

#include <sys/types.h>

#include <mutex>
#include <string>

#include "platform/linux/linux_unique_fd.h"
#include "platform/linux/linux_waitable.h"
#include "platform/process.h"

namespace qv {

inline constexpr uint32_t kStillActive = 259;

class CLinuxProcessHandle : public CAddReleaseRef, public IProcessHandle, public ILinuxPollable {
public:
    // ERROR_INVALID_PARAMETER (87) when no such process exists (or the id is
    // 0 or a thread's), ERROR_ACCESS_DENIED (5) when /proc will not tell its
    // image (another user's process, a kernel thread).
    // A child of CreateProcess comes with the image it was started from,
    // which stands in when it has ended before it could be read.
    static Win32Error Open(uint32_t processId, const std::string* childImage, CRefPtr<CLinuxProcessHandle>& process);

    CLinuxProcessHandle(uint32_t processId, CUniqueFd pidfd, bool isChild);

    Win32Error GetProcessTimes(FILETIME& creation, FILETIME& exit, FILETIME& kernel, FILETIME& user) override;
    Win32Error GetModuleFileNameEx(std::wstring& path) override;
    Win32Error GetExitCodeProcess(uint32_t& exitCode) override;
    uint32_t ProcessId() const override { return m_pid; }

    int PollFd() const override { return m_pidfd.get(); }
    bool IsSignalled() const override;

protected:
    ~CLinuxProcessHandle() override;

private:
    // With m_mutex held: notes the end once seen, reaps a child.
    bool NoteEndLocked();

    const uint32_t m_pid;
    CUniqueFd m_pidfd;
    const bool m_isChild;

    std::mutex m_mutex;
    std::string m_imagePath;
    uint64_t m_startTicks = 0;
    uint64_t m_bootSeconds = 0;
    uint64_t m_userTicks = 0;
    uint64_t m_kernelTicks = 0;
    bool m_ended = false;
    FILETIME m_exitTime{};
    uint32_t m_exitCode = kStillActive;
    bool m_reaped = false;
};

// pidfd_open(2), through syscall: glibc 2.36's <sys/pidfd.h> is not usable
// from C++. -1 and errno on failure.
int OpenPidfd(pid_t pid);

}  // namespace qv
