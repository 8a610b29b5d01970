#include "platform/win32/win32_endpoint_notification_adapter.h"

#include "platform/win32/win32_guid.h"

namespace qv {

::HRESULT STDMETHODCALLTYPE CWin32EndpointNotificationAdapter::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    const bool isUnknown = iid == __uuidof(::IUnknown);
    if (!isUnknown && iid != __uuidof(::IMMNotificationClient)) return E_NOINTERFACE;
    {
        CCallGate::Call call(m_gate);
        if (!call) return E_NOINTERFACE;
        if (!ModelAnswersTo(m_client, isUnknown ? IID_IUnknown : IID_IMMNotificationClient)) return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<::IMMNotificationClient*>(this);
    return S_OK;
}

// The model's answers to events are its own business: the platform ignores
// them, so each call answers S_OK, also when the way to the client is shut.

::HRESULT STDMETHODCALLTYPE CWin32EndpointNotificationAdapter::OnDeviceStateChanged(LPCWSTR endpointId,
                                                                                    DWORD newState) {
    if (CCallGate::Call call(m_gate); call) m_client->OnDeviceStateChanged(endpointId, newState);
    return S_OK;
}

::HRESULT STDMETHODCALLTYPE CWin32EndpointNotificationAdapter::OnDeviceAdded(LPCWSTR endpointId) {
    if (CCallGate::Call call(m_gate); call) m_client->OnDeviceAdded(endpointId);
    return S_OK;
}

::HRESULT STDMETHODCALLTYPE CWin32EndpointNotificationAdapter::OnDeviceRemoved(LPCWSTR endpointId) {
    if (CCallGate::Call call(m_gate); call) m_client->OnDeviceRemoved(endpointId);
    return S_OK;
}

::HRESULT STDMETHODCALLTYPE CWin32EndpointNotificationAdapter::OnDefaultDeviceChanged(::EDataFlow flow, ::ERole role,
                                                                                      LPCWSTR endpointId) {
    if (CCallGate::Call call(m_gate); call)
        m_client->OnDefaultDeviceChanged(static_cast<EDataFlow>(flow), static_cast<ERole>(role), endpointId);
    return S_OK;
}

::HRESULT STDMETHODCALLTYPE CWin32EndpointNotificationAdapter::OnPropertyValueChanged(LPCWSTR endpointId,
                                                                                      const ::PROPERTYKEY key) {
    if (CCallGate::Call call(m_gate); call) m_client->OnPropertyValueChanged(endpointId, FromWindowsPropertyKey(key));
    return S_OK;
}

}  // namespace qv
