#include "platform/linux/linux_processes.h"

#include <dirent.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stop_token>

#include "core/async.h"
#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_command_line.h"
#include "platform/linux/linux_errors.h"
#include "platform/linux/linux_event.h"
#include "platform/linux/linux_proc.h"
#include "platform/linux/linux_process_handle.h"
#include "platform/linux/linux_stop_wake.h"

extern char** environ;

namespace qv {

namespace {

bool ParsePid(const char* name, pid_t& pid) {
    if (!name || !*name) return false;
    long value = 0;
    for (const char* c = name; *c; ++c) {
        if (*c < '0' || *c > '9') return false;
        value = value * 10 + (*c - '0');
        if (value > INT32_MAX) return false;
    }
    pid = static_cast<pid_t>(value);
    return value > 0;
}

// The attributes of a spawn, released on every path.
class CSpawnSettings {
public:
    CSpawnSettings() {
        m_ok = ::posix_spawnattr_init(&m_attributes) == 0;
        m_ok = ::posix_spawn_file_actions_init(&m_actions) == 0 && m_ok;
    }
    ~CSpawnSettings() {
        ::posix_spawnattr_destroy(&m_attributes);
        ::posix_spawn_file_actions_destroy(&m_actions);
    }
    CSpawnSettings(const CSpawnSettings&) = delete;
    CSpawnSettings& operator=(const CSpawnSettings&) = delete;

    int Prepare(bool newSession) {
        if (!m_ok) return ENOMEM;
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (newSession) flags |= POSIX_SPAWN_SETSID;
        if (int e = ::posix_spawnattr_setsigmask(&m_attributes, &none)) return e;
        if (int e = ::posix_spawnattr_setsigdefault(&m_attributes, &all)) return e;
        if (int e = ::posix_spawnattr_setflags(&m_attributes, flags)) return e;
        // Descriptors that some library opened without O_CLOEXEC stay here.
        return ::posix_spawn_file_actions_addclosefrom_np(&m_actions, 3);
    }
    posix_spawnattr_t* Attributes() { return &m_attributes; }
    posix_spawn_file_actions_t* Actions() { return &m_actions; }

private:
    posix_spawnattr_t m_attributes;
    posix_spawn_file_actions_t m_actions;
    bool m_ok = false;
};

Win32Error SpawnError(int error) {
    if (error == ENOENT || error == ENOTDIR) return ERROR_FILE_NOT_FOUND;
    return Win32ErrorFromErrno(error);
}

}  // namespace

Win32Error CLinuxProcesses::OpenProcess(uint32_t access, uint32_t processId, CRefPtr<IProcessHandle>& process) {
    process = nullptr;
    CRefPtr<CLinuxProcessHandle> opened;
    Win32Error error = CLinuxProcessHandle::Open(processId, nullptr, opened);
    if (error == 0) process = opened;
    return error;
}

Win32Error CLinuxProcesses::CreateToolhelp32Snapshot(std::vector<ProcessEntry>& processes) {
    processes.clear();
    std::unique_ptr<DIR, int (*)(DIR*)> proc(::opendir("/proc"), ::closedir);
    if (!proc) return Win32ErrorFromErrno(errno);
    while (const dirent* entry = ::readdir(proc.get())) {
        pid_t pid = 0;
        if (!ParsePid(entry->d_name, pid)) continue;
        ProcStat stat;
        // Gone meanwhile: it is simply not in the snapshot.
        if (ReadProcStat(pid, stat) != 0) continue;
        std::string image;
        std::string name = ReadExecutablePath(pid, image) == 0 ? FileNameOf(image) : stat.comm;
        processes.push_back(ProcessEntry{static_cast<uint32_t>(pid), stat.parentPid, Utf8ToWide(name)});
    }
    return ERROR_SUCCESS;
}

Win32Error CLinuxProcesses::WaitForProcessExit(IProcessHandle* process, IEvent* stop,
                                               std::function<void(bool processEnded)> done) {
    if (!process || !done) return ERROR_INVALID_PARAMETER;
    auto* processHandle = dynamic_cast<CLinuxProcessHandle*>(process);
    auto* stopEvent = dynamic_cast<CLinuxEvent*>(stop);
    if (!processHandle || !stopEvent) return ERROR_INVALID_HANDLE;
    // Wakes the thread when the program ends and CThread asks it to stop.
    auto wake = std::make_shared<CStopWake>();
    if (!*wake) return Win32ErrorFromErrno(errno);
    CRefPtr<CLinuxProcessHandle> heldProcess(processHandle);
    CRefPtr<CLinuxEvent> heldStop(stopEvent);
    CThread::Start([heldProcess, heldStop, wake, done = std::move(done)](std::stop_token token) mutable {
        const bool woken = wake->WaitReadable({heldProcess->PollFd(), heldStop->PollFd()}, token);
        const bool ended = heldProcess->IsSignalled();
        if (woken && (ended || heldStop->IsSignalled())) done(ended);
        // The thread's references go here, on the thread, as its duplicated
        // handles would be closed.
        done = nullptr;
        heldProcess = nullptr;
        heldStop = nullptr;
    });
    return ERROR_SUCCESS;
}

Win32Error CLinuxProcesses::CreateProcess(const std::wstring& application, const std::wstring& commandLine,
                                          uint32_t creationFlags, CRefPtr<IProcessHandle>& process) {
    process = nullptr;
    std::vector<std::string> arguments;
    for (const std::wstring& argument : SplitCommandLine(commandLine)) arguments.push_back(WideToUtf8(argument));
    if (arguments.empty()) {
        if (application.empty()) return ERROR_INVALID_PARAMETER;
        arguments.push_back(WideToUtf8(application));
    }
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);

    CSpawnSettings settings;
    if (int error = settings.Prepare((creationFlags & kCreateNewConsole) != 0); error != 0)
        return Win32ErrorFromErrno(error);
    pid_t pid = 0;
    int error;
    const std::string image = application.empty() ? arguments[0] : WideToUtf8(application);
    if (application.empty()) {
        error = ::posix_spawnp(&pid, argv[0], settings.Actions(), settings.Attributes(), argv.data(), environ);
    } else {
        error = ::posix_spawn(&pid, image.c_str(), settings.Actions(), settings.Attributes(), argv.data(), environ);
    }
    if (error != 0) return SpawnError(error);

    CRefPtr<CLinuxProcessHandle> child;
    // A child is ours until reaped, so its id cannot go to another process
    // before this has opened it.
    Win32Error opened = CLinuxProcessHandle::Open(static_cast<uint32_t>(pid), &image, child);
    if (opened != 0) {
        // Untracked it would linger; better not to have started it.
        ::kill(pid, SIGKILL);
        while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
        return opened;
    }
    process = child;
    return ERROR_SUCCESS;
}

}  // namespace qv
