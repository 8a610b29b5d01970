#include "devices/audio_device.h"

#include "platform/codes.h"
#include "platform/platform.h"

namespace qv {

namespace {
// Two seconds in 100-ns ticks: an endpoint that turns active this soon after
// a resume is coming back, not newly connected.
constexpr uint64_t kResumeWindowTicks = 20'000'000;
}  // namespace

CAudioDevice::CAudioDevice(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                           const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log,
                           const std::wstring& endpointId, bool showNewDeviceToast)
    : CCommonBase(traceTarget, dispatcher, log), m_endpointId(endpointId), ShowNewDeviceToast(showNewDeviceToast) {
    QV_TRACE_SCOPE(L"CAudioDevice::CAudioDevice");
    Trace(L"AudioEndpointId = %s\n", m_endpointId);
    DeviceEnumerator.Subscribe(this, DeviceEnumerator_Handlers());
}

CAudioDevice::~CAudioDevice() {
    QV_TRACE_SCOPE(L"CAudioDevice::~CAudioDevice");
    DeviceEnumerator.Unsubscribe(this, DeviceEnumerator_Handlers());
}

uint64_t CAudioDevice::Now() const {
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<ISystem> system = platform ? platform->System() : nullptr;
    return system ? system->GetSystemTimeAsFileTime().Ticks() : 0;
}

// Rung 1: the enumerator resolves the endpoint and asks for the default.
void CAudioDevice::CAudioDevice_DeviceEnumeratorChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::DeviceEnumerator_Changed", PointerArgument(DeviceEnumerator->get()));
    if (!DeviceEnumerator.value()) return;
    IMMDeviceEnumerator& enumerator = *DeviceEnumerator.value();

    CRefPtr<IMMDevice> device;
    HRESULT hr = enumerator.GetDevice(m_endpointId, device);
    if (Failed(hr) || !device) {
        Trace(L"Failed to receive audio endpoint with id %s with error code %i.\n", m_endpointId, hr);
    } else {
        MMDevice.set(device);
        CRefPtr<IMMEndpoint> endpoint;
        if (Succeeded(device->QueryInterface(endpoint)) && endpoint) {
            MMEndpoint.set(endpoint);
            EDataFlow flow = EDataFlowUnknown;
            if (Succeeded(endpoint->GetDataFlow(flow))) DataFlow.set(flow);
        }
    }

    CRefPtr<IMMDevice> defaultDevice;
    hr = enumerator.GetDefaultAudioEndpoint(eRender, eMultimedia, defaultDevice);
    if (Failed(hr) || !defaultDevice) {
        Trace(L"Failed to receive default audio endpoint with error code %i.\n", hr);
    } else {
        std::wstring defaultId;
        hr = defaultDevice->GetId(defaultId);
        if (Failed(hr)) {
            Trace(L"IMMDevice::GetId() failed with error = 0x%X.\n", static_cast<uint32_t>(hr));
        } else {
            Trace(L"DefaultAudioEndpointId = %s.\n", defaultId);
            OnDefaultDeviceChanged(eRender, eMultimedia, defaultId);
        }
    }

    SuspendResumeNotificationClient.Subscribe(this, SuspendResumeNotificationClient_Handlers());
    MMNotificationClient.Subscribe(this, MMNotificationClient_Handlers());
}

void CAudioDevice::CAudioDevice_DeviceEnumeratorChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::DeviceEnumerator_Changing", PointerArgument(DeviceEnumerator->get()));
    if (!DeviceEnumerator.value()) return;
    SuspendResumeNotificationClient.Unsubscribe(this, SuspendResumeNotificationClient_Handlers());
    MMNotificationClient.Unsubscribe(this, MMNotificationClient_Handlers());
    CancelPending(PostedPropertyChangeAction);
    MMEndpoint.set(nullptr);
    MMDevice.set(nullptr);
}

// Rungs 2 and 3 both subscribe MMDevice: the second subscription opens the
// store again and re-reads, which is harmless and wanted.
void CAudioDevice::CAudioDevice_SuspendResumeNotificationClientChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::SuspendResumeNotificationClient_Changed",
                   PointerArgument(SuspendResumeNotificationClient->get()));
    if (!SuspendResumeNotificationClient.value()) return;
    SuspendResumeNotificationClient.value()->RegisterReceiver(this);
    MMDevice.Subscribe(this, MMDevice_Handlers());
}

void CAudioDevice::CAudioDevice_SuspendResumeNotificationClientChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::SuspendResumeNotificationClient_Changing",
                   PointerArgument(SuspendResumeNotificationClient->get()));
    if (!SuspendResumeNotificationClient.value()) return;
    // Unsubscribe first, unregister second.
    MMDevice.Unsubscribe(this, MMDevice_Handlers());
    SuspendResumeNotificationClient.value()->UnregisterReceiver(this);
}

void CAudioDevice::CAudioDevice_MMNotificationClientChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::MMNotificationClient_Changed", PointerArgument(MMNotificationClient->get()));
    if (!MMNotificationClient.value()) return;
    MMNotificationClient.value()->RegisterReceiver(this);
    MMDevice.Subscribe(this, MMDevice_Handlers());
}

void CAudioDevice::CAudioDevice_MMNotificationClientChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::MMNotificationClient_Changing", PointerArgument(MMNotificationClient->get()));
    if (!MMNotificationClient.value()) return;
    MMDevice.Unsubscribe(this, MMDevice_Handlers());
    MMNotificationClient.value()->UnregisterReceiver(this);
}

// Rung 4: the store and the state of the endpoint.
void CAudioDevice::CAudioDevice_MMDeviceChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::MMDevice_Changed", PointerArgument(MMDevice->get()));
    if (!MMDevice.value()) return;
    CRefPtr<IPropertyStore> store;
    HRESULT hr = MMDevice.value()->OpenPropertyStore(STGM_READ, store);
    if (Failed(hr) || !store)
        Trace(L"Failed to open property store with error code %i.\n", hr);
    else
        AudioEndpointProperties.set(store);
    uint32_t state = 0;
    if (Succeeded(MMDevice.value()->GetState(state)) && state == DEVICE_STATE_ACTIVE) IsActive.set(true);
    IsActive.Subscribe(this, IsActive_Handlers());
}

void CAudioDevice::CAudioDevice_MMDeviceChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::MMDevice_Changing", PointerArgument(MMDevice->get()));
    if (!MMDevice.value()) return;
    IsActive.Unsubscribe(this, IsActive_Handlers());
    // Other subscribers of IsActive see this as a normal change. The store
    // stays until the next MMDevice_Changed replaces it.
    IsActive.set(false);
}

// Rung 5: an active endpoint reads its values, and may be a new connection.
void CAudioDevice::CAudioDevice_IsActiveChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::IsActive_Changed");
    if (!IsActive.value()) return;
    // A toast still waiting for the user's answer is not shown twice.
    if (ShowNewDeviceToast && (!NewDeviceToast || !NewDeviceToast->IsConnected())) StartNewDeviceToast();
    AudioEndpointProperties.Subscribe(this, AudioEndpointProperties_Handlers());
}

void CAudioDevice::CAudioDevice_IsActiveChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::IsActive_Changing");
    if (!IsActive.value()) return;
    AudioEndpointProperties.Unsubscribe(this, AudioEndpointProperties_Handlers());
}

void CAudioDevice::StartNewDeviceToast() {
    NewDeviceToast = MakeRef<CShowNewDeviceConnectedToast>(TraceTarget(), Dispatcher(), Log(), m_endpointId);
    NewDeviceToast->Connect();
}

// Rung 6: the properties are read as soon as the store is there.
void CAudioDevice::CAudioDevice_AudioEndpointPropertiesChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::AudioEndpointProperties_Changed", PointerArgument(AudioEndpointProperties->get()));
    if (!AudioEndpointProperties.value()) return;
    OnPostedPropertyValueChanged();
}

void CAudioDevice::CAudioDevice_AudioEndpointPropertiesChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDevice::AudioEndpointProperties_Changing", PointerArgument(AudioEndpointProperties->get()));
}

void CAudioDevice::OnPostedPropertyValueChanged() {
    QV_TRACE_SCOPE(L"CAudioDevice::OnPostedPropertyValueChanged");
    Trace(L"AudioEndpointId = %s\n", m_endpointId);
    if (!AudioEndpointProperties.value()) {
        Trace(L"AudioEndpointProperties = NULL.\n");
        return;
    }
    IPropertyStore& store = *AudioEndpointProperties.value();

    PROPVARIANT value;
    uint32_t mode = 0;
    if (Succeeded(store.GetValue(PKEY_AutoPresetFeatureMode, value))) {
        if (value.vt != VT_UI4)
            Trace(L"Invalid type for PKEY_AutoPresetFeatureMode value received: %i.\n", static_cast<int>(value.vt));
        else
            mode = value.ulVal;
    }
    AutoPresetFeatureMode.set(mode);

    value = PROPVARIANT{};
    std::wstring contentType;
    if (Succeeded(store.GetValue(PKEY_AudioContentType_EFX, value))) {
        if (value.vt != VT_LPWSTR)
            Trace(L"Invalid type for PKEY_AudioContentType_EFX value received: %i.\n", static_cast<int>(value.vt));
        else
            contentType = value.pwszVal;
    }
    ContentTypeName.set(contentType);

    value = PROPVARIANT{};
    if (Failed(store.GetValue(PKEY_HasAutoPreset, value))) {
        HasAutoPreset.set(false);
    } else {
        bool has = false;
        if (value.vt != VT_UI4)
            Trace(L"Invalid type for PKEY_HasAutoPreset value received: %i.\n", static_cast<int>(value.vt));
        else
            has = value.ulVal != 0;
        HasAutoPreset.set(has);
        // The raw 32 bits, also when the type was wrong.
        Trace(L"HasAutoPreset = %i.\n", value.ulVal);
    }

    if (!HasAutoPreset.value()) {
        EnableAutoPreset.set(false);
        return;
    }
    value = PROPVARIANT{};
    if (Succeeded(store.GetValue(PKEY_EnableAutoPreset, value)) && value.vt == VT_UI4) {
        EnableAutoPreset.set(value.ulVal != 0);
        Trace(L"EnableAutoPreset = %i.\n", value.ulVal);
    } else {
        EnableAutoPreset.set(false);
    }
}

void CAudioDevice::OnPropertyValueChanged(const std::wstring& endpointId, PROPERTYKEY key) {
    QV_TRACE_SCOPE(L"CAudioDevice::OnPropertyValueChanged");
    CWeakRefPtr<CAudioDevice> weak(this);
    // The key is not looked at: any change of the own endpoint re-reads all
    // four values. A pending re-read is overwritten, not cancelled.
    PostedPropertyChangeAction = CAsyncAction::Post(Dispatcher(), [weak, endpointId](CRefPtr<CAsyncAction>) {
        CRefPtr<CAudioDevice> self = weak.Lock();
        if (self && endpointId == self->m_endpointId) self->OnPostedPropertyValueChanged();
    });
}

void CAudioDevice::OnDefaultDeviceChanged(EDataFlow flow, ERole role, const std::wstring& endpointId) {
    QV_TRACE_SCOPE(L"CAudioDevice::OnDefaultDeviceChanged");
    Trace(L"defaultEndpointId = %s, flow = %i, role = %i\n", endpointId, static_cast<uint32_t>(flow),
          static_cast<uint32_t>(role));
    // Only the multimedia role of the output counts.
    if (flow != eRender || role != eMultimedia) return;
    IsDefaultEndpoint.set(endpointId == m_endpointId);
}

void CAudioDevice::OnDeviceAdded(const std::wstring& endpointId) {
    QV_TRACE_SCOPE(L"CAudioDevice::OnDeviceAdded");
    Trace(L"endpointId = %s\n", endpointId);
}

void CAudioDevice::OnDeviceRemoved(const std::wstring& endpointId) {
    QV_TRACE_SCOPE(L"CAudioDevice::OnDeviceRemoved");
    Trace(L"endpointId = %s\n", endpointId);
}

void CAudioDevice::OnDeviceStateChanged(const std::wstring& endpointId, uint32_t newState) {
    QV_TRACE_SCOPE(L"CAudioDevice::OnDeviceStateChanged");
    Trace(L"endpointId = %s, dwNewState = %i\n", endpointId, newState);
    Trace(L"AudioEndpointId = %s\n", m_endpointId);
    if (endpointId != m_endpointId) return;
    switch (newState) {
        case DEVICE_STATE_ACTIVE:
            Trace(L"State = DEVICE_STATE_ACTIVE\n");
            if (Now() - LastResumeTime < kResumeWindowTicks) {
                const bool former = ShowNewDeviceToast;
                ShowNewDeviceToast = false;
                IsActive.set(true);
                ShowNewDeviceToast = former;
            } else {
                IsActive.set(true);
            }
            break;
        case DEVICE_STATE_DISABLED:
            // The text is a slip of long standing; the watchers of the trace know it.
            Trace(L"State = DEVICE_STATE_ACTIVE\n");
            IsActive.set(false);
            break;
        case DEVICE_STATE_NOTPRESENT:
            Trace(L"State = DEVICE_STATE_NOTPRESENT\n");
            IsActive.set(false);
            break;
        case DEVICE_STATE_UNPLUGGED:
            Trace(L"State = DEVICE_STATE_UNPLUGGED\n");
            IsActive.set(false);
            break;
        default: Trace(L"State = <Unknown>\n"); break;
    }
}

void CAudioDevice::OnPowerSuspendResume(uint32_t type) {
    QV_TRACE_SCOPE(L"CAudioDevice::OnPowerSuspendResume");
    Trace(L"Type = %i\n", type);
    if (type == PBT_APMSUSPEND) {
        Trace(L"Received PBT_APMSUSPEND event\n");
        LastSuspendTime = Now();
    } else if (type == PBT_APMRESUMEAUTOMATIC) {
        Trace(L"Received PBT_APMRESUMEAUTOMATIC event\n");
        LastResumeTime = Now();
    }
}

}  // namespace qv
