// The synchronisation port on Linux: events are eventfds (linux_event.h),
// named mutexes lock files (linux_named_mutex.h), and the wait covers them
// and process handles (pidfds) with one poll. A mutex in a wait is taken by
// a helper thread (linux_flock_waiter.h) whose readiness joins the poll.
#pragma once

#include "platform/sync.h"

namespace qv {

class CLinuxSync : public CAddReleaseRef, public ISync {
public:
    Win32Error CreateEvent(CRefPtr<IEvent>& event) override;
    Win32Error OpenMutex(const std::wstring& name, CRefPtr<INamedMutex>& mutex) override;
    Win32Error CreateMutex(const std::wstring& name, bool initialOwner, CRefPtr<INamedMutex>& mutex) override;
    // Only handles of the Linux ports can be waited for; anything else, a
    // null, no objects or more than 64 give kWaitFailed. Of several
    // signalled objects the lowest index wins, and only that one is taken.
    uint32_t WaitForMultipleObjects(const std::vector<IWaitable*>& objects, uint32_t timeoutMs) override;
};

}  // namespace qv
