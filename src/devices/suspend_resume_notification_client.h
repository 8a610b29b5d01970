// Stands between the platform's power events and the model, as the endpoint
// client does for endpoint events: each event becomes one posted action per
// receiver, and the last Release unregisters on a thread of its own.
#pragma once

#include <atomic>
#include <mutex>

#include "core/async.h"
#include "core/trace.h"
#include "devices/notification_receiver_table.h"
#include "devices/notification_receivers.h"
#include "platform/audio.h"
#include "platform/power.h"

namespace qv {

class CSuspendResumeNotificationClient : public virtual IAddReleaseRef, public ISuspendResumeCallback {
public:
    // The enumerator is not kept: power events have nothing to do with it.
    CSuspendResumeNotificationClient(const CRefPtr<IMMDeviceEnumerator>& enumerator,
                                     const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                     const CRefPtr<ITraceFuncCallTarget>& traceTarget);

    uint32_t AddRef() override;
    uint32_t Release() override;
    uint32_t PowerSuspendResumeNotification(uint32_t type, const void* setting) override;

    // Main thread.
    void RegisterReceiver(ISuspendResumeNotificationReceiver* receiver) { m_receivers.Register(receiver); }
    void UnregisterReceiver(ISuspendResumeNotificationReceiver* receiver) { m_receivers.Unregister(receiver); }
    std::size_t ReceiverCount() const { return m_receivers.size(); }

private:
    ~CSuspendResumeNotificationClient() override = default;
    DBG_TRACE* TraceRecord() const { return TraceRecordOf(m_traceTarget.get()); }
    template <class... Args>
    void Trace(const wchar_t* format, const Args&... args) const {
        if (TraceEnabled(TraceRecord())) DBG_TRACE_Print(TraceRecord(), format, args...);
    }

    CRefPtr<IAsyncActionDispatcher> m_dispatcher;
    CRefPtr<ITraceFuncCallTarget> m_traceTarget;
    CNotificationReceiverTable<ISuspendResumeNotificationReceiver, 1> m_receivers;
    HPOWERNOTIFY m_registration = 0;
    CRefPtr<IPower> m_power;
    std::atomic<uint32_t> m_count{1};
    std::recursive_mutex DisposeLock;
    bool Registered = false;
    bool Disposed = false;
};

}  // namespace qv
