// Suspend and resume on Windows: PowerRegisterSuspendResumeNotification with
// DEVICE_NOTIFY_CALLBACK, whose callback the system calls on a thread of its
// own, and which this port forwards to the model's callback as it is.
#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "platform/power.h"

namespace qv {

class CWin32Power : public CAddReleaseRef, public IPower {
public:
    CWin32Power();
    ~CWin32Power() override;

    // A null callback is ERROR_INVALID_PARAMETER.
    Win32Error PowerRegisterSuspendResumeNotification(ISuspendResumeCallback* callback,
                                                      HPOWERNOTIFY& registration) override;
    Win32Error PowerUnregisterSuspendResumeNotification(HPOWERNOTIFY registration) override;

private:
    struct Subscription;
    std::mutex m_lock;
    // The parameters handed to the system, kept for as long as the
    // registration stands.
    std::map<HPOWERNOTIFY, std::unique_ptr<Subscription>> m_subscriptions;
};

}  // namespace qv
