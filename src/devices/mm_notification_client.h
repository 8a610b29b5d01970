// Stands between the platform's endpoint events and the model: the platform
// calls on threads of its own, from inside its own locks; each event becomes
// one posted action per receiver, so receivers only ever run on the main
// thread. Its last Release unregisters on a thread of its own, since that
// Release may come from inside a platform callback.
#pragma once

#include <atomic>
#include <mutex>

#include "core/async.h"
#include "core/trace.h"
#include "devices/notification_receiver_table.h"
#include "devices/notification_receivers.h"
#include "platform/audio.h"

namespace qv {

class CMMNotificationClient : public IMMNotificationClient {
public:
    CMMNotificationClient(const CRefPtr<IMMDeviceEnumerator>& enumerator,
                          const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                          const CRefPtr<ITraceFuncCallTarget>& traceTarget);

    HRESULT QueryInterface(const GUID& iid, void** object) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    HRESULT OnDeviceStateChanged(const wchar_t* endpointId, uint32_t newState) override;
    HRESULT OnDeviceAdded(const wchar_t* endpointId) override;
    HRESULT OnDeviceRemoved(const wchar_t* endpointId) override;
    HRESULT OnDefaultDeviceChanged(EDataFlow flow, ERole role, const wchar_t* endpointId) override;
    HRESULT OnPropertyValueChanged(const wchar_t* endpointId, const PROPERTYKEY& key) override;

    // Main thread.
    void RegisterReceiver(IMMNotificationReceiver* receiver) { m_receivers.Register(receiver); }
    void UnregisterReceiver(IMMNotificationReceiver* receiver) { m_receivers.Unregister(receiver); }
    std::size_t ReceiverCount() const { return m_receivers.size(); }

private:
    ~CMMNotificationClient() override = default;

    // The receivers' operations, in slot order; each has its list of actions.
    enum Operation : std::size_t {
        kOnDefaultDeviceChanged,
        kOnDeviceAdded,
        kOnDeviceRemoved,
        kOnDeviceStateChanged,
        kOnPropertyValueChanged,
        kOperationCount
    };
    // Steps shared by every event: give up at once if a Release is tearing
    // the object down, then trace and post to each receiver.
    template <class TraceEvent, class Deliver>
    HRESULT Dispatch(const wchar_t* endpointId, bool traceBeforeNullTest, TraceEvent traceEvent, Operation operation,
                     Deliver deliver);
    DBG_TRACE* TraceRecord() const { return TraceRecordOf(m_traceTarget.get()); }
    template <class... Args>
    void Trace(const wchar_t* format, const Args&... args) const {
        if (TraceEnabled(TraceRecord())) DBG_TRACE_Print(TraceRecord(), format, args...);
    }

    CRefPtr<IMMDeviceEnumerator> m_enumerator;
    CRefPtr<IAsyncActionDispatcher> m_dispatcher;
    CRefPtr<ITraceFuncCallTarget> m_traceTarget;
    CNotificationReceiverTable<IMMNotificationReceiver, kOperationCount> m_receivers;
    std::atomic<uint32_t> m_count{1};
    std::recursive_mutex DisposeLock;
    bool Registered = false;
    bool Disposed = false;
};

}  // namespace qv
