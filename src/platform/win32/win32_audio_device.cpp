#include "platform/win32/win32_audio_device.h"

#include <audiopolicy.h>

#include "platform/win32/win32_audio_session.h"
#include "platform/win32/win32_co_task_mem.h"
#include "platform/win32/win32_property_store.h"

namespace qv {

CRefPtr<IMMDevice> WrapDevice(CRefPtr<::IMMDevice> device) {
    if (!device) return nullptr;
    return MakeRef<CWin32Device>(std::move(device));
}

// ---- IMMDevice

HRESULT CWin32Device::Activate(const GUID& iid, uint32_t clsCtx, CRefPtr<IAudioSessionManager2>& manager) {
    manager = nullptr;
    if (iid != IID_IAudioSessionManager2) return E_NOINTERFACE;
    CRefPtr<::IAudioSessionManager2> activated;
    HRESULT hr = m_device->Activate(__uuidof(::IAudioSessionManager2), clsCtx, nullptr,
                                    reinterpret_cast<void**>(activated.put()));
    if (FAILED(hr)) return hr;
    if (!activated) return E_POINTER;
    manager = MakeRef<CWin32SessionManager>(std::move(activated));
    return hr;
}

HRESULT CWin32Device::OpenPropertyStore(uint32_t access, CRefPtr<IPropertyStore>& store) {
    store = nullptr;
    CRefPtr<::IPropertyStore> opened;
    HRESULT hr = m_device->OpenPropertyStore(access, opened.put());
    if (FAILED(hr)) return hr;
    if (!opened) return E_POINTER;
    store = MakeRef<CWin32PropertyStore>(std::move(opened));
    return hr;
}

HRESULT CWin32Device::GetId(std::wstring& id) {
    id.clear();
    CCoTaskMemString text;
    HRESULT hr = m_device->GetId(text.put());
    if (SUCCEEDED(hr)) id = text.ToWide();
    return hr;
}

HRESULT CWin32Device::GetState(uint32_t& state) {
    DWORD value = 0;
    HRESULT hr = m_device->GetState(&value);
    if (SUCCEEDED(hr)) state = value;
    return hr;
}

HRESULT CWin32Device::QueryInterface(CRefPtr<IMMEndpoint>& endpoint) {
    endpoint = nullptr;
    CRefPtr<::IMMEndpoint> found;
    HRESULT hr = m_device->QueryInterface(__uuidof(::IMMEndpoint), reinterpret_cast<void**>(found.put()));
    if (FAILED(hr)) return hr;
    if (!found) return E_NOINTERFACE;
    endpoint = MakeRef<CWin32Endpoint>(std::move(found));
    return hr;
}

// ---- IMMEndpoint

HRESULT CWin32Endpoint::GetDataFlow(EDataFlow& flow) {
    ::EDataFlow value = ::eRender;
    HRESULT hr = m_endpoint->GetDataFlow(&value);
    if (SUCCEEDED(hr)) flow = static_cast<EDataFlow>(value);
    return hr;
}

// ---- IMMDeviceCollection

HRESULT CWin32DeviceCollection::GetCount(uint32_t& count) {
    UINT value = 0;
    HRESULT hr = m_devices->GetCount(&value);
    if (SUCCEEDED(hr)) count = value;
    return hr;
}

HRESULT CWin32DeviceCollection::Item(uint32_t index, CRefPtr<IMMDevice>& device) {
    device = nullptr;
    CRefPtr<::IMMDevice> item;
    HRESULT hr = m_devices->Item(index, item.put());
    if (FAILED(hr)) return hr;
    if (!item) return E_POINTER;
    device = WrapDevice(std::move(item));
    return hr;
}

}  // namespace qv
