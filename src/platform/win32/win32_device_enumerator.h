// The entry to Core Audio: CoCreateInstance of MMDeviceEnumerator, behind
// the model's IMMDeviceEnumerator.
//
// The platform keeps no reference to a registered endpoint client, so the
// model's client is given to it through an adapter that holds a bare pointer
// (win32_endpoint_notification_adapter.h). This object keeps the adapters,
// one per registration, to hand the platform the same one at the
// unregistration; after that call has returned, whatever it answered, the
// adapter lets no further event through, because the model deletes its
// client right after. Unregistering a client that was never registered here
// answers E_INVALIDARG without a call.
#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "core/ref.h"
#include "platform/audio.h"
#include "platform/win32/windows_api.h"

#include <mmdeviceapi.h>

namespace qv {

class CWin32EndpointNotificationAdapter;

// Joins the calling thread to COM first (win32_com_apartment.h). The class
// context is CLSCTX_INPROC_SERVER: the enumerator lives in this process.
HRESULT CreateWin32DeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator);

class CWin32DeviceEnumerator : public CAddReleaseRef, public IMMDeviceEnumerator {
public:
    explicit CWin32DeviceEnumerator(CRefPtr<::IMMDeviceEnumerator> enumerator);
    ~CWin32DeviceEnumerator() override;

    HRESULT EnumAudioEndpoints(EDataFlow flow, uint32_t stateMask, CRefPtr<IMMDeviceCollection>& devices) override;
    HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole role, CRefPtr<IMMDevice>& endpoint) override;
    HRESULT GetDevice(const std::wstring& id, CRefPtr<IMMDevice>& device) override;
    HRESULT RegisterEndpointNotificationCallback(IMMNotificationClient* client) override;
    HRESULT UnregisterEndpointNotificationCallback(IMMNotificationClient* client) override;

private:
    const CRefPtr<::IMMDeviceEnumerator> m_enumerator;
    std::mutex m_registrationsLock;
    std::vector<CRefPtr<CWin32EndpointNotificationAdapter>> m_registrations;
};

}  // namespace qv
