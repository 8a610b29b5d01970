// Waitable objects: events, named mutexes, and waiting for any of several
// (with processes, which are waitable too). On Windows these are kernel
// handles; on Linux an event is an eventfd, a process a pidfd, and a named
// mutex a lock file held with flock, which is released when its holder dies
// just as an abandoned mutex is.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

// Anything a thread can wait for.
struct IWaitable : virtual IAddReleaseRef {};

// A manual-reset event (CreateEventW); SetEvent wakes every waiter.
struct IEvent : virtual IWaitable {
    virtual void SetEvent() = 0;
};

// An open named mutex in the machine-wide namespace. Waiting on it takes it
// once it is free, or once its holder has died (abandoned).
struct INamedMutex : virtual IWaitable {
    // ReleaseMutex, by the thread that holds it.
    virtual Win32Error ReleaseMutex() = 0;
};

inline constexpr uint32_t kWaitInfinite = 0xFFFFFFFFu;
inline constexpr uint32_t kWaitObject0 = 0;
inline constexpr uint32_t kWaitAbandoned0 = 0x80;
inline constexpr uint32_t kWaitTimeout = 258;
inline constexpr uint32_t kWaitFailed = 0xFFFFFFFFu;

struct ISync : virtual IAddReleaseRef {
    // CreateEventW, manual reset, not signalled, unnamed.
    virtual Win32Error CreateEvent(CRefPtr<IEvent>& event) = 0;
    // OpenMutexW with SYNCHRONIZE for "Global\" + name. ERROR_FILE_NOT_FOUND
    // when no such mutex exists.
    virtual Win32Error OpenMutex(const std::wstring& name, CRefPtr<INamedMutex>& mutex) = 0;
    // CreateMutexExW for "Global\" + name, not owned, open to everyone.
    // With initialOwner the calling thread holds it at once (a starter's
    // exit token).
    virtual Win32Error CreateMutex(const std::wstring& name, bool initialOwner, CRefPtr<INamedMutex>& mutex) = 0;
    // WaitForMultipleObjects, any one of them: kWaitObject0 + index,
    // kWaitAbandoned0 + index, kWaitTimeout or kWaitFailed.
    virtual uint32_t WaitForMultipleObjects(const std::vector<IWaitable*>& objects, uint32_t timeoutMs) = 0;
};

}  // namespace qv
