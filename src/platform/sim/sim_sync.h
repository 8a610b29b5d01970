// The synchronisation port of the simulated machine: events, named mutexes
// in memory and the wait over any of them (and over processes). The test
// plays the other process that a named mutex is shared with: the starter
// that holds the exit mutex, or another instance of the program.
#pragma once

#include <chrono>
#include <map>
#include <string>

#include "platform/sim/sim_failures.h"
#include "platform/sim/sim_kernel.h"
#include "platform/sim/sim_sync_objects.h"

namespace qv {

class CSimSync : public CAddReleaseRef, public ISync {
public:
    explicit CSimSync(CRefPtr<CSimJournal> journal);
    ~CSimSync() override;

    // The port. A name is taken as it stands: the "Global\" prefix is the
    // platform's business, and names are case sensitive as kernel names are.
    Win32Error CreateEvent(CRefPtr<IEvent>& event) override;
    Win32Error OpenMutex(const std::wstring& name, CRefPtr<INamedMutex>& mutex) override;
    Win32Error CreateMutex(const std::wstring& name, bool initialOwner, CRefPtr<INamedMutex>& mutex) override;
    uint32_t WaitForMultipleObjects(const std::vector<IWaitable*>& objects, uint32_t timeoutMs) override;

    // The other process. It creates (or, if the name exists, opens) the
    // mutex and keeps a handle open; with `owned` it holds a mutex that it
    // has created. False if the name existed already, as CreateMutex then
    // reports ERROR_ALREADY_EXISTS and ignores the ownership asked for.
    bool CreateExternalMutex(const std::wstring& name, bool owned);
    // The other process releases the mutex. False if it does not hold it.
    bool ReleaseExternalMutex(const std::wstring& name);
    // The other process ends: a mutex it holds is abandoned, and its handle
    // closes (the name goes when no handle is left). False if it had none.
    bool EndExternalProcess(const std::wstring& name);
    // Whether the name exists (some handle is open), and whether anybody
    // holds the mutex.
    bool MutexExists(const std::wstring& name);
    bool IsMutexOwned(const std::wstring& name);

    // Failure injection: "CreateEvent", "OpenMutex", "CreateMutex" (target:
    // the name) and "WaitForMultipleObjects" (which then gives kWaitFailed).
    void Fail(const std::wstring& operation, Win32Error code, const std::wstring& target = {},
              uint32_t times = CSimFailures::kUntilCleared) {
        m_failures.Fail(operation, code, target, times);
    }
    void FailOnce(const std::wstring& operation, Win32Error code, const std::wstring& target = {}) {
        m_failures.Fail(operation, code, target, 1);
    }
    void ClearFailures() { m_failures.ClearAll(); }
    uint64_t CallCount(const std::wstring& operation, const std::wstring& target = {}) const {
        return m_failures.CallCount(operation, target);
    }

    // Shared with the process port, whose handles are waitable too.
    const CRefPtr<CSimKernel>& Kernel() const { return m_kernel; }

    // Every wait ends with kWaitFailed; the other process lets go of its
    // handles. Called when the machine goes away.
    void Shutdown();

private:
    CRefPtr<CSimMutexHandle> OpenOrCreate(const std::wstring& name, bool create, bool& existed);

    const CRefPtr<CSimKernel> m_kernel;
    CSimFailures m_failures;
    std::mutex m_externalMutex;  // guards m_external; taken before the kernel's lock
    std::map<std::wstring, CRefPtr<CSimMutexHandle>> m_external;
};

}  // namespace qv
