#include "platform/win32/win32_device_enumerator.h"

#include <algorithm>

#include "platform/win32/win32_audio_device.h"
#include "platform/win32/win32_com_apartment.h"
#include "platform/win32/win32_endpoint_notification_adapter.h"

namespace qv {

HRESULT CreateWin32DeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) {
    enumerator = nullptr;
    EnsureComOnThisThread();
    CRefPtr<::IMMDeviceEnumerator> created;
    HRESULT hr = ::CoCreateInstance(__uuidof(::MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                                    __uuidof(::IMMDeviceEnumerator), reinterpret_cast<void**>(created.put()));
    if (FAILED(hr)) return hr;
    if (!created) return E_POINTER;
    enumerator = MakeRef<CWin32DeviceEnumerator>(std::move(created));
    return hr;
}

CWin32DeviceEnumerator::CWin32DeviceEnumerator(CRefPtr<::IMMDeviceEnumerator> enumerator)
    : m_enumerator(std::move(enumerator)) {}

// A client still registered when the enumerator goes is unregistered here:
// the platform holds its adapter by a bare pointer, which must not outlive
// this object's reference to it.
CWin32DeviceEnumerator::~CWin32DeviceEnumerator() {
    for (CRefPtr<CWin32EndpointNotificationAdapter>& adapter : m_registrations) {
        m_enumerator->UnregisterEndpointNotificationCallback(adapter.get());
        adapter->Detach();
    }
}

HRESULT CWin32DeviceEnumerator::EnumAudioEndpoints(EDataFlow flow, uint32_t stateMask,
                                                   CRefPtr<IMMDeviceCollection>& devices) {
    devices = nullptr;
    CRefPtr<::IMMDeviceCollection> found;
    HRESULT hr = m_enumerator->EnumAudioEndpoints(static_cast<::EDataFlow>(flow), stateMask, found.put());
    if (FAILED(hr)) return hr;
    if (!found) return E_POINTER;
    devices = MakeRef<CWin32DeviceCollection>(std::move(found));
    return hr;
}

HRESULT CWin32DeviceEnumerator::GetDefaultAudioEndpoint(EDataFlow flow, ERole role, CRefPtr<IMMDevice>& endpoint) {
    endpoint = nullptr;
    CRefPtr<::IMMDevice> found;
    HRESULT hr =
        m_enumerator->GetDefaultAudioEndpoint(static_cast<::EDataFlow>(flow), static_cast<::ERole>(role), found.put());
    if (FAILED(hr)) return hr;
    if (!found) return E_POINTER;
    endpoint = WrapDevice(std::move(found));
    return hr;
}

HRESULT CWin32DeviceEnumerator::GetDevice(const std::wstring& id, CRefPtr<IMMDevice>& device) {
    device = nullptr;
    CRefPtr<::IMMDevice> found;
    HRESULT hr = m_enumerator->GetDevice(id.c_str(), found.put());
    if (FAILED(hr)) return hr;
    if (!found) return E_POINTER;
    device = WrapDevice(std::move(found));
    return hr;
}

HRESULT CWin32DeviceEnumerator::RegisterEndpointNotificationCallback(IMMNotificationClient* client) {
    if (!client) return E_POINTER;
    CRefPtr<CWin32EndpointNotificationAdapter> adapter = MakeRef<CWin32EndpointNotificationAdapter>(client);
    HRESULT hr = m_enumerator->RegisterEndpointNotificationCallback(adapter.get());
    if (FAILED(hr)) return hr;
    std::lock_guard lock(m_registrationsLock);
    m_registrations.push_back(std::move(adapter));
    return hr;
}

HRESULT CWin32DeviceEnumerator::UnregisterEndpointNotificationCallback(IMMNotificationClient* client) {
    CRefPtr<CWin32EndpointNotificationAdapter> adapter;
    {
        std::lock_guard lock(m_registrationsLock);
        auto found = std::find_if(m_registrations.begin(), m_registrations.end(),
                                  [&](const auto& a) { return a->Client() == client; });
        if (found == m_registrations.end()) return E_INVALIDARG;
        adapter = std::move(*found);
        m_registrations.erase(found);
    }
    HRESULT hr = m_enumerator->UnregisterEndpointNotificationCallback(adapter.get());
    adapter->Detach();
    return hr;
}

}  // namespace qv
