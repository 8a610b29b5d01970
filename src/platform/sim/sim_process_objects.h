// A process of the simulated machine as the kernel knows it, and the handle
// through which the model holds it. A record is never reused: a new process
// with the same id is a new record with another creation time, so a handle
// keeps describing the process it was opened for.
#pragma once

#include <string>

#include "platform/process.h"
#include "platform/sim/sim_failures.h"
#include "platform/sim/sim_kernel.h"

namespace qv {

inline constexpr uint32_t kSimStillActive = 259;  // STILL_ACTIVE

// Guarded by the kernel's lock, except the constant members.
class CSimProcess : public CSimKernelObject {
public:
    CSimProcess(uint32_t pid, uint32_t parentPid, std::wstring imagePath, FILETIME creation)
        : Pid(pid), ParentPid(parentPid), ImagePath(std::move(imagePath)), Creation(creation) {}
    SimTake TryTake(const SimOwner&) override { return Ended ? SimTake::Signalled : SimTake::NotSignalled; }

    const uint32_t Pid;
    const uint32_t ParentPid;
    const std::wstring ImagePath;
    const FILETIME Creation;
    bool Ended = false;
    FILETIME Exit{};
    uint32_t ExitCode = kSimStillActive;
};

// What the handles of one process port share.
class CSimProcessContext : public CAddReleaseRef {
public:
    explicit CSimProcessContext(CRefPtr<CSimKernel> kernel);
    const CRefPtr<CSimKernel> Kernel;
    CSimFailures Failures;
};

class CSimProcessHandle : public CAddReleaseRef, public IProcessHandle, public ISimHandle {
public:
    CSimProcessHandle(CRefPtr<CSimProcessContext> context, CRefPtr<CSimProcess> process)
        : m_context(std::move(context)), m_process(std::move(process)) {}

    Win32Error GetProcessTimes(FILETIME& creation, FILETIME& exit, FILETIME& kernel, FILETIME& user) override;
    Win32Error GetModuleFileNameEx(std::wstring& path) override;
    Win32Error GetExitCodeProcess(uint32_t& exitCode) override;
    uint32_t ProcessId() const override { return m_process->Pid; }

    CSimKernelObject* KernelObject() const override { return m_process.get(); }
    CSimKernel* Kernel() const override { return m_context->Kernel.get(); }
    const CRefPtr<CSimProcess>& Process() const { return m_process; }

private:
    std::wstring Target() const { return std::to_wstring(m_process->Pid); }

    const CRefPtr<CSimProcessContext> m_context;
    const CRefPtr<CSimProcess> m_process;
};

}  // namespace qv
