#include "platform/sim/sim_power.h"

#include "platform/codes.h"

namespace qv {

CSimPower::CSimPower()
    : m_failures({L"PowerRegisterSuspendResumeNotification", L"PowerUnregisterSuspendResumeNotification"}) {}

CSimPower::~CSimPower() { Shutdown(); }

Win32Error CSimPower::PowerRegisterSuspendResumeNotification(ISuspendResumeCallback* callback,
                                                             HPOWERNOTIFY& registration) {
    registration = 0;
    if (auto failure = m_failures.Enter(L"PowerRegisterSuspendResumeNotification")) return *failure;
    if (!callback) return ERROR_INVALID_PARAMETER;
    registration = static_cast<HPOWERNOTIFY>(m_callbacks.Add(callback));
    return ERROR_SUCCESS;
}

Win32Error CSimPower::PowerUnregisterSuspendResumeNotification(HPOWERNOTIFY registration) {
    if (auto failure = m_failures.Enter(L"PowerUnregisterSuspendResumeNotification")) return *failure;
    if (registration == 0 || !m_callbacks.RemoveId(registration)) return ERROR_INVALID_HANDLE;
    return ERROR_SUCCESS;
}

void CSimPower::Suspend() { SendPowerEvent(PBT_APMSUSPEND); }
void CSimPower::Resume() { SendPowerEvent(PBT_APMRESUMEAUTOMATIC); }

void CSimPower::SendPowerEvent(uint32_t type) {
    std::lock_guard lock(m_raiseMutex);
    // The thread is this object's and is stopped before it goes, so the
    // delivery may refer to it.
    m_events.Post([this, type, ids = m_callbacks.Snapshot()] {
        m_callbacks.Deliver(ids,
                            [type](ISuspendResumeCallback* c) { c->PowerSuspendResumeNotification(type, nullptr); });
    });
}

void CSimPower::Shutdown() {
    m_events.Stop();
    m_callbacks.Clear();
}

}  // namespace qv
