#include "platform/sim/sim_processes.h"

#include <algorithm>

#include "platform/codes.h"

namespace qv {

namespace {
// Toolhelp gives the file name of the image, not its path.
std::wstring FileNameOf(const std::wstring& path) {
    auto slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}
}  // namespace

CSimProcesses::CSimProcesses(CRefPtr<CSimKernel> kernel, CRefPtr<CSimSystem> clock)
    : m_context(MakeRef<CSimProcessContext>(std::move(kernel))), m_clock(std::move(clock)) {}

CSimProcesses::~CSimProcesses() { Shutdown(); }

CRefPtr<CSimProcess> CSimProcesses::FindRunning(uint32_t pid) {
    auto found = std::find_if(m_running.begin(), m_running.end(), [&](const auto& p) { return p->Pid == pid; });
    return found == m_running.end() ? nullptr : *found;
}

FILETIME CSimProcesses::NextCreationTime(std::optional<FILETIME> wanted) {
    if (wanted) {
        m_lastCreation = std::max(m_lastCreation, wanted->Ticks());
        return *wanted;
    }
    uint64_t now = m_clock->NowTicks.load();
    m_lastCreation = now > m_lastCreation ? now : m_lastCreation + 1;
    return FILETIME::FromTicks(m_lastCreation);
}

void CSimProcesses::End(CSimProcess& process, uint32_t exitCode) {
    // A child that the test has ended already keeps the code it was given.
    if (process.Ended) return;
    process.Ended = true;
    process.ExitCode = exitCode;
    process.Exit = FILETIME::FromTicks(m_clock->NowTicks.load());
    std::erase_if(m_running, [&](const auto& p) { return p.get() == &process; });
}

bool CSimProcesses::StartProcess(uint32_t pid, const std::wstring& imagePath, uint32_t parentPid,
                                 std::optional<FILETIME> creationTime) {
    if (pid == 0) return false;
    std::lock_guard lock(m_context->Kernel->Mutex);
    if (FindRunning(pid)) return false;
    m_running.push_back(MakeRef<CSimProcess>(pid, parentPid, imagePath, NextCreationTime(creationTime)));
    return true;
}

bool CSimProcesses::ExitProcess(uint32_t pid, uint32_t exitCode) {
    {
        std::lock_guard lock(m_context->Kernel->Mutex);
        CRefPtr<CSimProcess> process = FindRunning(pid);
        if (!process) return false;
        End(*process, exitCode);
    }
    m_context->Kernel->Changed();
    return true;
}

bool CSimProcesses::IsRunning(uint32_t pid) {
    std::lock_guard lock(m_context->Kernel->Mutex);
    return static_cast<bool>(FindRunning(pid));
}

std::optional<FILETIME> CSimProcesses::CreationTime(uint32_t pid) {
    std::lock_guard lock(m_context->Kernel->Mutex);
    CRefPtr<CSimProcess> process = FindRunning(pid);
    if (!process) return std::nullopt;
    return process->Creation;
}

void CSimProcesses::SetCreateProcessHandler(ChildRun handler) {
    std::lock_guard lock(m_handlerMutex);
    m_childRun = std::move(handler);
}

Win32Error CSimProcesses::OpenProcess(uint32_t access, uint32_t processId, CRefPtr<IProcessHandle>& process) {
    process = nullptr;
    if (auto failure = m_context->Failures.Enter(L"OpenProcess", {std::to_wstring(processId)})) return *failure;
    std::lock_guard lock(m_context->Kernel->Mutex);
    CRefPtr<CSimProcess> found = FindRunning(processId);
    // What Windows answers for an id that no running process has.
    if (!found) return ERROR_INVALID_PARAMETER;
    process = MakeRef<CSimProcessHandle>(m_context, found);
    return ERROR_SUCCESS;
}

Win32Error CSimProcesses::CreateToolhelp32Snapshot(std::vector<ProcessEntry>& processes) {
    processes.clear();
    if (auto failure = m_context->Failures.Enter(L"CreateToolhelp32Snapshot")) return *failure;
    std::lock_guard lock(m_context->Kernel->Mutex);
    for (const auto& p : m_running) processes.push_back(ProcessEntry{p->Pid, p->ParentPid, FileNameOf(p->ImagePath)});
    return ERROR_SUCCESS;
}

void CSimProcesses::StartWorker(std::unique_ptr<Worker> owned, std::function<void(Worker&)> body) {
    std::shared_ptr<Worker> worker(std::move(owned));
    std::vector<std::shared_ptr<Worker>> reaped;  // released after the lock
    std::lock_guard lock(m_workersMutex);
    for (auto w = m_workers.begin(); w != m_workers.end();) {
        if (!(*w)->finished.load()) {
            ++w;
            continue;
        }
        (*w)->thread.join();
        reaped.push_back(std::move(*w));
        w = m_workers.erase(w);
    }
    // The thread shares its record, so that a thread that is left to finish
    // on its own (Shutdown from within a callback) never outlives it.
    worker->thread = std::thread([worker, body = std::move(body)] {
        body(*worker);
        worker->finished.store(true);
    });
    m_workers.push_back(std::move(worker));
}

Win32Error CSimProcesses::WaitForProcessExit(IProcessHandle* process, IEvent* stop,
                                             std::function<void(bool processEnded)> done) {
    if (auto failure = m_context->Failures.Enter(L"WaitForProcessExit")) return *failure;
    if (!process || !done) return ERROR_INVALID_PARAMETER;
    auto* processHandle = dynamic_cast<ISimHandle*>(process);
    auto* stopHandle = dynamic_cast<ISimHandle*>(stop);
    if (!processHandle || !stopHandle || processHandle->Kernel() != m_context->Kernel.get() ||
        stopHandle->Kernel() != m_context->Kernel.get())
        return ERROR_INVALID_HANDLE;
    {
        std::lock_guard lock(m_workersMutex);
        if (m_shutDown) return ERROR_NOT_SUPPORTED;
    }
    auto worker = std::make_unique<Worker>();
    worker->done = std::move(done);
    // The thread's own references, as the duplicated handles of the platform.
    worker->handles = {CRefPtr<ISimHandle>(processHandle), CRefPtr<ISimHandle>(stopHandle)};
    CRefPtr<CSimKernel> kernel = m_context->Kernel;
    StartWorker(std::move(worker), [kernel](Worker& w) {
        uint32_t result = kernel->Wait({w.handles[0]->KernelObject(), w.handles[1]->KernelObject()}, kWaitInfinite,
                                       SimOwner::CurrentThread());
        // The machine is going away: no call back, and what the function
        // holds is released by Shutdown.
        if (result == kWaitFailed && kernel->IsShutDown()) return;
        w.done(result == kWaitObject0);
        // Released here, on the wait thread, as the platform's thread does.
        w.done = nullptr;
        w.handles.clear();
    });
    return ERROR_SUCCESS;
}

Win32Error CSimProcesses::CreateProcess(const std::wstring& application, const std::wstring& commandLine,
                                        uint32_t creationFlags, CRefPtr<IProcessHandle>& process) {
    process = nullptr;
    if (auto failure = m_context->Failures.Enter(L"CreateProcess", {application})) return *failure;
    ChildRun run;
    {
        std::lock_guard lock(m_handlerMutex);
        run = m_childRun;
    }
    if (!run) return ERROR_FILE_NOT_FOUND;
    {
        std::lock_guard lock(m_workersMutex);
        if (m_shutDown) return ERROR_NOT_SUPPORTED;
    }

    CRefPtr<CSimProcess> child;
    {
        std::lock_guard lock(m_context->Kernel->Mutex);
        uint32_t pid = m_nextChildPid;
        while (FindRunning(pid)) pid += 4;
        m_nextChildPid = pid + 4 < pid ? 0x8000 : pid + 4;
        child = MakeRef<CSimProcess>(pid, m_clock->GetCurrentProcessId(), application, NextCreationTime(std::nullopt));
        m_running.push_back(child);
    }
    process = MakeRef<CSimProcessHandle>(m_context, child);

    CRefPtr<CSimKernel> kernel = m_context->Kernel;
    StartWorker(std::make_unique<Worker>(), [this, kernel, child, run, application, commandLine](Worker&) {
        uint32_t exitCode = run(application, commandLine);
        {
            std::lock_guard lock(kernel->Mutex);
            End(*child, exitCode);
        }
        kernel->Changed();
    });
    return ERROR_SUCCESS;
}

std::size_t CSimProcesses::RunningThreadCount() {
    std::lock_guard lock(m_workersMutex);
    return static_cast<std::size_t>(
        std::count_if(m_workers.begin(), m_workers.end(), [](const auto& w) { return !w->finished.load(); }));
}

void CSimProcesses::Shutdown() {
    m_context->Kernel->Shutdown();
    std::vector<std::shared_ptr<Worker>> workers;
    {
        std::lock_guard lock(m_workersMutex);
        m_shutDown = true;
        workers.swap(m_workers);
    }
    for (auto& w : workers) {
        if (!w->thread.joinable()) continue;
        if (w->thread.get_id() == std::this_thread::get_id())
            w->thread.detach();
        else
            w->thread.join();
    }
    // What the waits still held (the model's functions) goes here.
    workers.clear();
    std::lock_guard lock(m_handlerMutex);
    m_childRun = nullptr;
}

}  // namespace qv
