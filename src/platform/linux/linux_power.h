// System suspend and resume on Linux: logind's PrepareForSleep signal on the
// system bus (org.freedesktop.login1, /org/freedesktop/login1,
// org.freedesktop.login1.Manager), true before a suspend (type 4,
// PBT_APMSUSPEND) and false after the resume (type 18,
// PBT_APMRESUMEAUTOMATIC). The bus is opened at the first registration and
// served by a thread of its own, on which the callbacks are called.
//
// Without a system bus (a container, a minimal machine) registration fails
// with ERROR_NOT_SUPPORTED, and the process says once on standard error that
// power events are unavailable. Should the bus go away later, the callbacks
// simply hear nothing more.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/power.h"

namespace qv {

class CLinuxPower : public CAddReleaseRef, public IPower {
public:
    // The system bus of sd_bus_open_system ($DBUS_SYSTEM_BUS_ADDRESS or the
    // standard socket), or the bus at the given address.
    explicit CLinuxPower(std::optional<std::string> busAddress = std::nullopt);
    ~CLinuxPower() override;

    // A null callback is ERROR_INVALID_PARAMETER.
    Win32Error PowerRegisterSuspendResumeNotification(ISuspendResumeCallback* callback,
                                                      HPOWERNOTIFY& registration) override;
    // ERROR_INVALID_HANDLE for an unknown registration. Waits until no call
    // of it runs on another thread; from within the callback itself (the
    // bus thread) it cannot wait for itself and returns at once, and that
    // call is the last.
    Win32Error PowerUnregisterSuspendResumeNotification(HPOWERNOTIFY registration) override;

    // The bus thread's delivery of a PrepareForSleep signal.
    void Deliver(uint32_t type);

private:
    struct Bus;
    Win32Error StartLocked();  // m_mutex held

    const std::optional<std::string> m_busAddress;
    std::mutex m_mutex;
    std::condition_variable m_idle;
    std::map<HPOWERNOTIFY, ISuspendResumeCallback*> m_callbacks;
    HPOWERNOTIFY m_lastRegistration = 0;
    HPOWERNOTIFY m_running = 0;  // the registration being called, 0 if none
    std::unique_ptr<Bus> m_bus;
    bool m_unavailable = false;
};

}  // namespace qv
