// The platform's IMMNotificationClient in front of the model's. The device
// enumerator keeps no reference to a registered client, and the model
// deletes its client right after unregistering it, so this object holds a
// bare pointer, and Detach (called when the unregistration has returned)
// closes the way to it: from then on, events that the platform still
// delivers answer S_OK and go nowhere.
#pragma once

#include "platform/audio.h"
#include "platform/win32/win32_call_gate.h"
#include "platform/win32/win32_com_callback.h"

#include <mmdeviceapi.h>

namespace qv {

class CWin32EndpointNotificationAdapter final : public CComCallback<::IMMNotificationClient> {
public:
    explicit CWin32EndpointNotificationAdapter(qv::IMMNotificationClient* client) : m_client(client) {}

    // Waits for calls running on other threads, then lets none through.
    void Detach() { m_gate.Close(); }
    qv::IMMNotificationClient* Client() const { return m_client; }

    // Answers what the model's client answers (a disposed client refuses
    // everything), and only as this object.
    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ::HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR endpointId, DWORD newState) override;
    ::HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR endpointId) override;
    ::HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR endpointId) override;
    ::HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(::EDataFlow flow, ::ERole role, LPCWSTR endpointId) override;
    ::HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR endpointId, const ::PROPERTYKEY key) override;

private:
    // The model's client; the base's name is the platform's one here.
    qv::IMMNotificationClient* const m_client;
    CCallGate m_gate;
};

}  // namespace qv
