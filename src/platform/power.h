// System suspend and resume events (PowerRegisterSuspendResumeNotification
// on Windows; logind's PrepareForSleep signal on Linux, where available).
#pragma once

#include <cstdint>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

// The callback of a registration, called on a thread of the platform with
// the event type (4 suspend, 18 automatic resume, others as they come).
struct ISuspendResumeCallback {
    virtual uint32_t PowerSuspendResumeNotification(uint32_t type, const void* setting) = 0;

protected:
    ~ISuspendResumeCallback() = default;
};

// The handle of one registration (HPOWERNOTIFY); 0 is none.
using HPOWERNOTIFY = uintptr_t;

struct IPower : virtual IAddReleaseRef {
    // The platform holds no reference to the callback; it calls it until
    // the unregistration has returned. 0 or an error number.
    virtual Win32Error PowerRegisterSuspendResumeNotification(ISuspendResumeCallback* callback,
                                                              HPOWERNOTIFY& registration) = 0;
    virtual Win32Error PowerUnregisterSuspendResumeNotification(HPOWERNOTIFY registration) = 0;
};

}  // namespace qv
