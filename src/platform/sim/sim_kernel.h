// The simulated kernel: the objects that threads wait for (events, named
// mutexes, processes) and the one wait that covers all of them. One lock
// guards every kernel object of one simulated machine, and every change of
// a signalled state wakes all waiters, which then look again.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/ref.h"
#include "platform/sim/sim_journal.h"
#include "platform/sync.h"

namespace qv {

// Who takes a mutex: a thread of this process, or a process outside it that
// the test plays (the starter, another instance).
struct SimOwner {
    uint64_t external = 0;  // 0: the thread below
    std::thread::id thread;
    static SimOwner CurrentThread() { return SimOwner{0, std::this_thread::get_id()}; }
    static SimOwner External(uint64_t id) { return SimOwner{id, {}}; }
    friend bool operator==(const SimOwner&, const SimOwner&) = default;
};

enum class SimTake { NotSignalled, Signalled, Abandoned };

// A waitable object. Every member is guarded by the kernel's lock.
class CSimKernelObject : public CAddReleaseRef {
public:
    // Whether a wait by the owner is satisfied now; taking a mutex makes the
    // owner hold it.
    virtual SimTake TryTake(const SimOwner& owner) = 0;
};

class CSimMutexObject;

class CSimKernel : public CAddReleaseRef {
public:
    explicit CSimKernel(CRefPtr<CSimJournal> journal) : Journal(std::move(journal)) {}

    // Where the opening, creation and closing of named mutexes and the
    // setting of events are recorded.
    const CRefPtr<CSimJournal> Journal;
    std::mutex Mutex;
    // Named mutexes that have an open handle, by name. The handles remove
    // their mutex when the last one closes, as the name then ceases to exist.
    std::map<std::wstring, CSimMutexObject*> NamedMutexes;

    // To be called after a signalled state changed, with or without the lock.
    void Changed() { m_changed.notify_all(); }

    // WaitForMultipleObjects for any one of the objects, in index order. The
    // lock must not be held. kWaitFailed once the kernel has shut down.
    uint32_t Wait(const std::vector<CSimKernelObject*>& objects, uint32_t timeoutMs, const SimOwner& owner);

    // The machine is going away: every wait ends with kWaitFailed.
    void Shutdown();
    bool IsShutDown();

private:
    std::condition_variable m_changed;
    bool m_shutDown = false;
};

// What a handle of the simulated kernel answers besides its port: the object
// it refers to, so that one wait can cover handles of different ports.
struct ISimHandle : virtual IWaitable {
    virtual CSimKernelObject* KernelObject() const = 0;
    virtual CSimKernel* Kernel() const = 0;
};

}  // namespace qv
