#include "devices/suspend_resume_notification_client.h"

#include "platform/codes.h"
#include "platform/platform.h"

namespace qv {

CSuspendResumeNotificationClient::CSuspendResumeNotificationClient(const CRefPtr<IMMDeviceEnumerator>&,
                                                                   const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                                                   const CRefPtr<ITraceFuncCallTarget>& traceTarget)
    : m_dispatcher(dispatcher), m_traceTarget(traceTarget) {
    CTraceFuncCall scope(TraceRecord(), L"CSuspendResumeNotificationClient::CSuspendResumeNotificationClient");
    Trace(L"Registering suspend/resume notification callback  ...\n");
    if (CRefPtr<IPlatform> platform = GetPlatform()) m_power = platform->Power();
    Win32Error error = m_power ? m_power->PowerRegisterSuspendResumeNotification(this, m_registration)
                               : ERROR_CALL_NOT_IMPLEMENTED;
    if (error != 0) {
        Trace(L"Failed to register suspend/resume notification callback with error code %i.\n", error);
        m_registration = 0;
        return;
    }
    Registered = true;
    Trace(L"Done.\n");
}

uint32_t CSuspendResumeNotificationClient::AddRef() { return m_count.fetch_add(1) + 1; }

uint32_t CSuspendResumeNotificationClient::Release() {
    uint32_t remaining = m_count.fetch_sub(1) - 1;
    if (remaining != 0) return remaining;
    {
        CTraceFuncCall scope(TraceRecord(), L"CSuspendResumeNotificationClient::Release()");
        Trace(L"RefCount == 0\n");
    }
    {
        std::lock_guard dispose(DisposeLock);
        Disposed = true;
    }
    // Not on this thread: the last reference may go inside a power callback.
    CThread::Start([this](std::stop_token) {
        if (Registered) {
            Registered = false;
            Trace(L"Unregistering suspend/resume notification callback  ...\n");
            Win32Error error = m_power->PowerUnregisterSuspendResumeNotification(m_registration);
            m_registration = 0;
            if (error != 0)
                Trace(L"Failed to unregister suspend/resume notification callback with error code %i.\n", error);
            else
                Trace(L"Done.\n");
        }
        delete this;
    });
    return 0;
}

uint32_t CSuspendResumeNotificationClient::PowerSuspendResumeNotification(uint32_t type, const void*) {
    std::unique_lock dispose(DisposeLock, std::try_to_lock);
    if (!dispose.owns_lock() || Disposed) return 0;
    {
        CTraceFuncCall scope(TraceRecord(), L"PowerSuspendResumeNotification");
        if (type == PBT_APMSUSPEND) Trace(L"Received PBT_APMSUSPEND event\n");
        if (type == PBT_APMRESUMEAUTOMATIC) Trace(L"Received PBT_APMRESUMEAUTOMATIC event\n");
    }
    m_receivers.PostToAll(m_dispatcher, 0,
                          [type](ISuspendResumeNotificationReceiver& r) { r.OnPowerSuspendResume(type); });
    return 0;
}

}  // namespace qv
