// The process port of the simulated machine: a process table that the test
// fills and empties, waits for the end of a process on threads of their
// own, and children whose run is a function that the test installs (a
// helper executable that writes a file and exits with a code, say).
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "platform/sim/sim_process_objects.h"
#include "platform/sim/sim_system.h"

namespace qv {

class CSimProcesses : public CAddReleaseRef, public IProcesses {
public:
    // The kernel is the synchronisation port's, so that the model can wait
    // for processes and events together; the clock stamps creation and exit.
    CSimProcesses(CRefPtr<CSimKernel> kernel, CRefPtr<CSimSystem> clock);
    ~CSimProcesses() override;

    // The port.
    Win32Error OpenProcess(uint32_t access, uint32_t processId, CRefPtr<IProcessHandle>& process) override;
    Win32Error CreateToolhelp32Snapshot(std::vector<ProcessEntry>& processes) override;
    Win32Error WaitForProcessExit(IProcessHandle* process, IEvent* stop,
                                  std::function<void(bool processEnded)> done) override;
    Win32Error CreateProcess(const std::wstring& application, const std::wstring& commandLine, uint32_t creationFlags,
                             CRefPtr<IProcessHandle>& process) override;

    // A process starts. Without a creation time it gets the clock's time,
    // made later than every creation before it, so that a reused id always
    // tells apart. False if the id is 0 or a running process has it.
    bool StartProcess(uint32_t pid, const std::wstring& imagePath, uint32_t parentPid = 0,
                      std::optional<FILETIME> creationTime = std::nullopt);
    // The running process with the id ends with the code: its handles are
    // signalled, it leaves the snapshot, and opening the id fails. False if
    // no process with the id runs.
    bool ExitProcess(uint32_t pid, uint32_t exitCode = 0);
    bool IsRunning(uint32_t pid);
    // The creation time of the running process with the id.
    std::optional<FILETIME> CreationTime(uint32_t pid);

    // What a started child does: given the application and the whole command
    // line it returns the exit code. It runs on a thread of its own while
    // the child shows as running, then the child ends with that code.
    // Without a handler CreateProcess fails with ERROR_FILE_NOT_FOUND, as
    // for a missing executable.
    using ChildRun = std::function<uint32_t(const std::wstring& application, const std::wstring& commandLine)>;
    void SetCreateProcessHandler(ChildRun handler);

    // Failure injection for "OpenProcess", "GetProcessTimes",
    // "GetModuleFileNameEx", "GetExitCodeProcess" (target: the process id in
    // decimal), "CreateToolhelp32Snapshot", "WaitForProcessExit" and
    // "CreateProcess" (target: the application).
    void Fail(const std::wstring& operation, Win32Error code, const std::wstring& target = {},
              uint32_t times = CSimFailures::kUntilCleared) {
        m_context->Failures.Fail(operation, code, target, times);
    }
    void FailOnce(const std::wstring& operation, Win32Error code, const std::wstring& target = {}) {
        m_context->Failures.Fail(operation, code, target, 1);
    }
    void ClearFailures() { m_context->Failures.ClearAll(); }
    uint64_t CallCount(const std::wstring& operation, const std::wstring& target = {}) const {
        return m_context->Failures.CallCount(operation, target);
    }

    // Threads of waits and children that have not ended yet.
    std::size_t RunningThreadCount();

    // The machine goes away: waits end without calling back (as threads do
    // when a process is torn down), children are waited for, and what the
    // threads held is released on the calling thread.
    void Shutdown();

private:
    struct Worker {
        std::thread thread;
        std::atomic<bool> finished{false};
        std::function<void(bool)> done;
        std::vector<CRefPtr<ISimHandle>> handles;
    };

    void StartWorker(std::unique_ptr<Worker> worker, std::function<void(Worker&)> body);
    FILETIME NextCreationTime(std::optional<FILETIME> wanted);  // kernel lock held
    void End(CSimProcess& process, uint32_t exitCode);          // kernel lock held
    CRefPtr<CSimProcess> FindRunning(uint32_t pid);             // kernel lock held

    const CRefPtr<CSimProcessContext> m_context;
    const CRefPtr<CSimSystem> m_clock;

    // Guarded by the kernel's lock.
    std::vector<CRefPtr<CSimProcess>> m_running;  // in the order they started
    uint64_t m_lastCreation = 0;
    uint32_t m_nextChildPid = 0x8000;

    std::mutex m_handlerMutex;
    ChildRun m_childRun;

    std::mutex m_workersMutex;
    std::vector<std::shared_ptr<Worker>> m_workers;
    bool m_shutDown = false;
};

}  // namespace qv
