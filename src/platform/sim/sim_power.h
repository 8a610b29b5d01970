// The power port of the simulated machine: the test suspends and resumes
// it, and the registered callbacks hear of it from a thread of the
// simulation, in order.
#pragma once

#include <chrono>
#include <mutex>

#include "platform/power.h"
#include "platform/callback_list.h"
#include "platform/callback_thread.h"
#include "platform/sim/sim_failures.h"

namespace qv {

class CSimPower : public CAddReleaseRef, public IPower {
public:
    CSimPower();
    ~CSimPower() override;

    // The port. A null callback is ERROR_INVALID_PARAMETER; an unknown
    // registration ERROR_INVALID_HANDLE. Unregistering returns only when no
    // call of that registration runs any more.
    Win32Error PowerRegisterSuspendResumeNotification(ISuspendResumeCallback* callback,
                                                      HPOWERNOTIFY& registration) override;
    Win32Error PowerUnregisterSuspendResumeNotification(HPOWERNOTIFY registration) override;

    // PBT_APMSUSPEND (4), PBT_APMRESUMEAUTOMATIC (18), or any other type, to
    // every registration that exists now. The setting passed is null, as it
    // is for these types.
    void Suspend();
    void Resume();
    void SendPowerEvent(uint32_t type);

    bool WaitUntilDelivered(std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        return m_events.WaitUntilDelivered(timeout);
    }
    std::size_t RegistrationCount() const { return m_callbacks.Count(); }

    // Failure injection: "PowerRegisterSuspendResumeNotification",
    // "PowerUnregisterSuspendResumeNotification".
    void Fail(const std::wstring& operation, Win32Error code, uint32_t times = CSimFailures::kUntilCleared) {
        m_failures.Fail(operation, code, {}, times);
    }
    void FailOnce(const std::wstring& operation, Win32Error code) { m_failures.Fail(operation, code, {}, 1); }
    void ClearFailures() { m_failures.ClearAll(); }
    uint64_t CallCount(const std::wstring& operation) const { return m_failures.CallCount(operation); }

    // Undelivered events are dropped and the registrations forgotten.
    void Shutdown();

private:
    CSimFailures m_failures;
    CCallbackList<ISuspendResumeCallback, false> m_callbacks;
    std::mutex m_raiseMutex;  // events are queued in the order they are raised
    CCallbackThread m_events;
};

}  // namespace qv
