#include "platform/linux/linux_process_handle.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>

#include "core/async.h"
#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_errors.h"
#include "platform/linux/linux_proc.h"
#include "platform/linux/linux_stop_wake.h"
#include "platform/linux/linux_system.h"

namespace qv {

namespace {

// waitid's P_PIDFD (Linux 5.4), an enumerator that older headers lack.
constexpr idtype_t kWaitByPidfd = static_cast<idtype_t>(3);

FILETIME Now() {
    auto since = std::chrono::system_clock::now().time_since_epoch();
    return FILETIME::FromTicks(
        kFileTimeUnixEpoch +
        static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(since).count() / 100));
}

// The exit code of a reaped child as the port gives it.
uint32_t ExitCodeOf(const siginfo_t& info) {
    if (info.si_code == CLD_EXITED) return static_cast<uint32_t>(info.si_status);
    return 128u + static_cast<uint32_t>(info.si_status);
}

}  // namespace

int OpenPidfd(pid_t pid) { return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)); }

Win32Error CLinuxProcessHandle::Open(uint32_t processId, const std::string* childImage,
                                     CRefPtr<CLinuxProcessHandle>& process) {
    process = nullptr;
    if (processId == 0 || processId > static_cast<uint32_t>(INT32_MAX)) return ERROR_INVALID_PARAMETER;
    const auto pid = static_cast<pid_t>(processId);
    CUniqueFd pidfd(OpenPidfd(pid));
    if (!pidfd) {
        // ESRCH: no such process; EINVAL or ENOENT (as kernels differ): a
        // thread, not a process.
        if (errno == ESRCH || errno == EINVAL || errno == ENOENT) return ERROR_INVALID_PARAMETER;
        if (errno == EPERM || errno == EACCES) return ERROR_ACCESS_DENIED;
        return Win32ErrorFromErrno(errno);
    }
    auto handle = MakeRef<CLinuxProcessHandle>(processId, std::move(pidfd), childImage != nullptr);

    ProcStat stat;
    if (int error = ReadProcStat(pid, stat); error != 0)
        return error == EACCES || error == EPERM ? ERROR_ACCESS_DENIED : ERROR_INVALID_PARAMETER;
    std::string image;
    int imageError = ReadExecutablePath(pid, image);
    // The pidfd was opened first: if the process is still there now, what
    // /proc said is about it and not about a later process with its id.
    const bool ended = handle->IsSignalled();
    if (imageError != 0 && childImage) {
        image = *childImage;
    } else if (imageError != 0) {
        if (ended) return ERROR_INVALID_PARAMETER;
        // ENOENT on a live process: a kernel thread, which has no image.
        return ERROR_ACCESS_DENIED;
    }
    auto boot = BootTimeSeconds();
    if (!boot) return ERROR_ACCESS_DENIED;
    {
        std::lock_guard lock(handle->m_mutex);
        handle->m_imagePath = std::move(image);
        handle->m_startTicks = stat.startTicks;
        handle->m_bootSeconds = *boot;
        handle->m_userTicks = stat.userTicks;
        handle->m_kernelTicks = stat.kernelTicks;
    }
    process = handle;
    return ERROR_SUCCESS;
}

CLinuxProcessHandle::CLinuxProcessHandle(uint32_t processId, CUniqueFd pidfd, bool isChild)
    : m_pid(processId), m_pidfd(std::move(pidfd)), m_isChild(isChild) {}

CLinuxProcessHandle::~CLinuxProcessHandle() {
    if (!m_isChild || m_reaped) return;
    siginfo_t info{};
    if (::waitid(kWaitByPidfd, static_cast<id_t>(m_pidfd.get()), &info, WEXITED | WNOHANG) == 0 && info.si_pid != 0)
        return;
    // Still running: a thread waits to reap it, holding the pidfd. At the
    // program's end it lets go unreaped; the child is then ours no more.
    auto pidfd = std::make_shared<CUniqueFd>(std::move(m_pidfd));
    auto wake = std::make_shared<CStopWake>();
    CThread::Start([pidfd, wake](std::stop_token token) {
        if (!wake->WaitReadable({pidfd->get()}, token) || !PollsReadable(pidfd->get())) return;
        siginfo_t ended{};
        while (::waitid(kWaitByPidfd, static_cast<id_t>(pidfd->get()), &ended, WEXITED) != 0 && errno == EINTR) {
        }
    });
}

bool CLinuxProcessHandle::IsSignalled() const { return PollsReadable(m_pidfd.get()); }

bool CLinuxProcessHandle::NoteEndLocked() {
    if (m_ended) return true;
    if (!IsSignalled()) {
        // Still ours to read: keep the latest times for after the end.
        ProcStat stat;
        if (ReadProcStat(static_cast<pid_t>(m_pid), stat) == 0 && stat.startTicks == m_startTicks) {
            m_userTicks = stat.userTicks;
            m_kernelTicks = stat.kernelTicks;
        }
        // A read that raced with the end is checked once more.
        if (!IsSignalled()) return false;
    }
    m_ended = true;
    m_exitTime = Now();
    m_exitCode = 0;
    if (m_isChild && !m_reaped) {
        siginfo_t info{};
        if (::waitid(kWaitByPidfd, static_cast<id_t>(m_pidfd.get()), &info, WEXITED | WNOHANG) == 0 &&
            info.si_pid != 0) {
            m_exitCode = ExitCodeOf(info);
            m_reaped = true;
        }
    }
    return true;
}

Win32Error CLinuxProcessHandle::GetProcessTimes(FILETIME& creation, FILETIME& exit, FILETIME& kernel, FILETIME& user) {
    std::lock_guard lock(m_mutex);
    NoteEndLocked();
    creation = StartTimeAsFileTime(m_bootSeconds, m_startTicks);
    exit = m_ended ? m_exitTime : FILETIME{};
    kernel = FILETIME::FromTicks(ClockTicksToFileTimeTicks(m_kernelTicks));
    user = FILETIME::FromTicks(ClockTicksToFileTimeTicks(m_userTicks));
    return ERROR_SUCCESS;
}

Win32Error CLinuxProcessHandle::GetModuleFileNameEx(std::wstring& path) {
    std::lock_guard lock(m_mutex);
    path = Utf8ToWide(m_imagePath);
    return ERROR_SUCCESS;
}

Win32Error CLinuxProcessHandle::GetExitCodeProcess(uint32_t& exitCode) {
    std::lock_guard lock(m_mutex);
    NoteEndLocked();
    exitCode = m_exitCode;
    return ERROR_SUCCESS;
}

}  // namespace qv
