// The kernel objects of the synchronisation port: manual-reset events and
// named mutexes, and the handles through which the model holds them.
#pragma once

#include <string>

#include "platform/sim/sim_kernel.h"

namespace qv {

// ReleaseMutex by a thread that does not hold the mutex.
inline constexpr Win32Error kSimErrorNotOwner = 288;

// An unnamed manual-reset event; it is its own only handle.
class CSimEvent : public CSimKernelObject, public IEvent, public ISimHandle {
public:
    explicit CSimEvent(CRefPtr<CSimKernel> kernel) : m_kernel(std::move(kernel)) {}
    void SetEvent() override;
    bool IsSet();
    SimTake TryTake(const SimOwner&) override { return m_signalled ? SimTake::Signalled : SimTake::NotSignalled; }
    CSimKernelObject* KernelObject() const override { return const_cast<CSimEvent*>(this); }
    CSimKernel* Kernel() const override { return m_kernel.get(); }

private:
    const CRefPtr<CSimKernel> m_kernel;
    bool m_signalled = false;
};

// A named mutex; it exists while a handle to it is open. Ownership is
// recursive, as on Windows. All members are guarded by the kernel's lock.
class CSimMutexObject : public CSimKernelObject {
public:
    explicit CSimMutexObject(std::wstring name) : Name(std::move(name)) {}
    SimTake TryTake(const SimOwner& owner) override;
    // 0, or kSimErrorNotOwner when the owner does not hold it.
    Win32Error ReleaseBy(const SimOwner& owner);
    // The owner has died: the mutex is free, and the next wait that takes it
    // learns that it was abandoned. False if the owner did not hold it.
    bool AbandonBy(const SimOwner& owner);
    bool IsOwned() const { return m_count > 0; }
    bool IsOwnedBy(const SimOwner& owner) const { return m_count > 0 && m_owner == owner; }

    const std::wstring Name;
    uint32_t OpenHandles = 0;

private:
    SimOwner m_owner;
    uint32_t m_count = 0;
    bool m_abandoned = false;
};

class CSimMutexHandle : public CAddReleaseRef, public INamedMutex, public ISimHandle {
public:
    // Called with the kernel's lock held.
    CSimMutexHandle(CRefPtr<CSimKernel> kernel, CRefPtr<CSimMutexObject> mutex);
    Win32Error ReleaseMutex() override;
    CSimKernelObject* KernelObject() const override { return m_mutex.get(); }
    CSimKernel* Kernel() const override { return m_kernel.get(); }
    CSimMutexObject& Mutex() const { return *m_mutex; }

private:
    // Closing: the last handle takes the name with it. Must not be reached
    // with the kernel's lock held.
    ~CSimMutexHandle() override;

    const CRefPtr<CSimKernel> m_kernel;
    const CRefPtr<CSimMutexObject> m_mutex;
};

}  // namespace qv
