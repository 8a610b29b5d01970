// Endpoints of Core Audio behind the model's interfaces: IMMDevice,
// IMMEndpoint and IMMDeviceCollection, each a forward of the platform's own.
#pragma once

#include <utility>

#include "core/ref.h"
#include "platform/audio.h"
#include "platform/win32/windows_api.h"

#include <mmdeviceapi.h>

namespace qv {

class CWin32Device : public CAddReleaseRef, public IMMDevice {
public:
    explicit CWin32Device(CRefPtr<::IMMDevice> device) : m_device(std::move(device)) {}

    // Only IAudioSessionManager2 is asked for; any other id is E_NOINTERFACE
    // without a call, as the model has nothing else to receive it in.
    HRESULT Activate(const GUID& iid, uint32_t clsCtx, CRefPtr<IAudioSessionManager2>& manager) override;
    HRESULT OpenPropertyStore(uint32_t access, CRefPtr<IPropertyStore>& store) override;
    HRESULT GetId(std::wstring& id) override;
    HRESULT GetState(uint32_t& state) override;
    HRESULT QueryInterface(CRefPtr<IMMEndpoint>& endpoint) override;

private:
    const CRefPtr<::IMMDevice> m_device;
};

class CWin32Endpoint : public CAddReleaseRef, public IMMEndpoint {
public:
    explicit CWin32Endpoint(CRefPtr<::IMMEndpoint> endpoint) : m_endpoint(std::move(endpoint)) {}
    HRESULT GetDataFlow(EDataFlow& flow) override;

private:
    const CRefPtr<::IMMEndpoint> m_endpoint;
};

class CWin32DeviceCollection : public CAddReleaseRef, public IMMDeviceCollection {
public:
    explicit CWin32DeviceCollection(CRefPtr<::IMMDeviceCollection> devices) : m_devices(std::move(devices)) {}
    HRESULT GetCount(uint32_t& count) override;
    HRESULT Item(uint32_t index, CRefPtr<IMMDevice>& device) override;

private:
    const CRefPtr<::IMMDeviceCollection> m_devices;
};

// The model's device for the platform's, or null for null.
CRefPtr<IMMDevice> WrapDevice(CRefPtr<::IMMDevice> device);

}  // namespace qv
