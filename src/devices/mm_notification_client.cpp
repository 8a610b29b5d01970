#include "devices/mm_notification_client.h"

#include "platform/codes.h"

namespace qv {

CMMNotificationClient::CMMNotificationClient(const CRefPtr<IMMDeviceEnumerator>& enumerator,
                                             const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                             const CRefPtr<ITraceFuncCallTarget>& traceTarget)
    : m_enumerator(enumerator), m_dispatcher(dispatcher), m_traceTarget(traceTarget) {
    CTraceFuncCall scope(TraceRecord(), L"CMMNotificationClient::CMMNotificationClient");
    Trace(L"Registering audio endpoint notification callback  ...\n");
    if (!m_enumerator) {
        Trace(L"DeviceEnumerator == nullptr.\n");
        return;
    }
    HRESULT hr = m_enumerator->RegisterEndpointNotificationCallback(this);
    if (Failed(hr))
        Trace(L"Failed to register audio endpoint notification callback with error code %i.\n", hr);
    else
        Trace(L"Done.\n");
    // The unregistering is tried at the end whatever came of this.
    Registered = true;
}

HRESULT CMMNotificationClient::QueryInterface(const GUID& iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    std::unique_lock dispose(DisposeLock, std::try_to_lock);
    if (!dispose.owns_lock() || Disposed) return E_NOINTERFACE;
    if (iid != IID_IUnknown && iid != IID_IMMNotificationClient) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IMMNotificationClient*>(this);
    return S_OK;
}

uint32_t CMMNotificationClient::AddRef() { return m_count.fetch_add(1) + 1; }

uint32_t CMMNotificationClient::Release() {
    uint32_t remaining = m_count.fetch_sub(1) - 1;
    if (remaining != 0) return remaining;
    {
        CTraceFuncCall scope(TraceRecord(), L"CMMNotificationClient::Release()");
        Trace(L"RefCount == 0\n");
    }
    {
        std::lock_guard dispose(DisposeLock);
        Disposed = true;
    }
    // The platform may be calling from inside this Release; unregistering
    // here could wait for that very callback.
    CThread::Start([this](std::stop_token) {
        if (Registered) {
            Registered = false;
            Trace(L"Unregistering audio endpoint notification callback  ...\n");
            HRESULT hr = m_enumerator->UnregisterEndpointNotificationCallback(this);
            if (Failed(hr))
                Trace(L"Failed to unregister endpoint notification callback with error code %i.\n", hr);
            else
                Trace(L"Done.\n");
        }
        delete this;
    });
    return 0;
}

template <class TraceEvent, class Deliver>
HRESULT CMMNotificationClient::Dispatch(const wchar_t* endpointId, bool traceBeforeNullTest, TraceEvent traceEvent,
                                        Operation operation, Deliver deliver) {
    // Only ever tried: a callback must not block against a Release in
    // progress. An event that finds the lock taken is lost.
    std::unique_lock dispose(DisposeLock, std::try_to_lock);
    if (!dispose.owns_lock() || Disposed) return S_OK;
    if (traceBeforeNullTest) traceEvent();
    if (!endpointId) return S_OK;
    if (!traceBeforeNullTest) traceEvent();
    std::wstring id(endpointId);
    m_receivers.PostToAll(m_dispatcher, operation,
                          [id, deliver](IMMNotificationReceiver& receiver) { deliver(receiver, id); });
    return S_OK;
}

namespace {
const wchar_t* StateName(uint32_t state) {
    switch (state) {
        case DEVICE_STATE_ACTIVE: return L"DEVICE_STATE_ACTIVE";
        case DEVICE_STATE_DISABLED: return L"DEVICE_STATE_DISABLED";
        case DEVICE_STATE_NOTPRESENT: return L"DEVICE_STATE_NOTPRESENT";
        case DEVICE_STATE_UNPLUGGED: return L"DEVICE_STATE_UNPLUGGED";
        default: return nullptr;
    }
}
}  // namespace

HRESULT CMMNotificationClient::OnDeviceStateChanged(const wchar_t* endpointId, uint32_t newState) {
    CTraceFuncCall scope(TraceRecord(), L"CMMNotificationClient::OnDeviceStateChanged");
    return Dispatch(
        endpointId, false,
        [&] {
            // Another state is delivered but not traced.
            if (const wchar_t* name = StateName(newState))
                Trace(L"EndpointId = %s, dwNewState = %i (%s)\n", endpointId, newState, name);
        },
        kOnDeviceStateChanged,
        [newState](IMMNotificationReceiver& r, const std::wstring& id) { r.OnDeviceStateChanged(id, newState); });
}

HRESULT CMMNotificationClient::OnDeviceAdded(const wchar_t* endpointId) {
    CTraceFuncCall scope(TraceRecord(), L"CMMNotificationClient::OnDeviceAdded");
    return Dispatch(
        endpointId, false, [&] { Trace(L"EndpointId = %s\n", endpointId); }, kOnDeviceAdded,
        [](IMMNotificationReceiver& r, const std::wstring& id) { r.OnDeviceAdded(id); });
}

HRESULT CMMNotificationClient::OnDeviceRemoved(const wchar_t* endpointId) {
    CTraceFuncCall scope(TraceRecord(), L"CMMNotificationClient::OnDeviceRemoved");
    return Dispatch(
        endpointId, false, [&] { Trace(L"EndpointId = %s\n", endpointId); }, kOnDeviceRemoved,
        [](IMMNotificationReceiver& r, const std::wstring& id) { r.OnDeviceRemoved(id); });
}

HRESULT CMMNotificationClient::OnDefaultDeviceChanged(EDataFlow flow, ERole role, const wchar_t* endpointId) {
    CTraceFuncCall scope(TraceRecord(), L"CMMNotificationClient::OnDefaultDeviceChanged");
    // Traced before the null test: "no default endpoint" shows in the trace.
    return Dispatch(
        endpointId, true,
        [&] {
            Trace(L"EndpointId = %s, flow = %i, role = %i\n", endpointId ? endpointId : L"(null)",
                  static_cast<uint32_t>(flow), static_cast<uint32_t>(role));
        },
        kOnDefaultDeviceChanged,
        [flow, role](IMMNotificationReceiver& r, const std::wstring& id) { r.OnDefaultDeviceChanged(flow, role, id); });
}

HRESULT CMMNotificationClient::OnPropertyValueChanged(const wchar_t* endpointId, const PROPERTYKEY& key) {
    CTraceFuncCall scope(TraceRecord(), L"CMMNotificationClient::OnPropertyValueChanged");
    const PROPERTYKEY copy = key;
    std::unique_lock dispose(DisposeLock, std::try_to_lock);
    if (!dispose.owns_lock() || Disposed) return S_OK;
    const GUID& g = copy.fmtid;
    Trace(kPropertyKeyTraceFormat, g.Data1, g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3],
          g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7], copy.pid);
    if (!endpointId) return S_OK;
    Trace(L"EndpointId = %s\n", endpointId);
    std::wstring id(endpointId);
    m_receivers.PostToAll(m_dispatcher, kOnPropertyValueChanged,
                          [id, copy](IMMNotificationReceiver& r) { r.OnPropertyValueChanged(id, copy); });
    return S_OK;
}

}  // namespace qv
