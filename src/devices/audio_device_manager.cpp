#include "devices/audio_device_manager.h"

#include "classify/content_classifier.h"
#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"

namespace qv {

CAudioDeviceManager::CAudioDeviceManager(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                         const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                         const std::string& hostPipeName, const CRefPtr<CContentClassifierLog>& log)
    : CCommonBase(traceTarget, dispatcher, log), m_hostPipeName(hostPipeName) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::CAudioDeviceManager");
    CRefPtr<IMMDeviceEnumerator> enumerator;
    CRefPtr<IPlatform> platform = GetPlatform();
    HRESULT hr = platform ? platform->CreateDeviceEnumerator(enumerator) : E_FAIL;
    if (Failed(hr) || !enumerator) {
        Trace(L"Failed to create device audio enumerator with error code %i.\n", hr);
        DeviceEnumerator.set(nullptr);
    } else {
        DeviceEnumerator.set(enumerator);
        Trace(L"Done.\n");
    }
    m_webClassifier = MakeRef<CWebContentClassifier>(TraceTarget(), Dispatcher(), Log());
    DeviceEnumerator.Subscribe(this, DeviceEnumerator_Handlers());
}

CAudioDeviceManager::~CAudioDeviceManager() {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::~CAudioDeviceManager");
    DeviceEnumerator.Unsubscribe(this, DeviceEnumerator_Handlers());
    DeviceEnumerator.set(nullptr);
}

void CAudioDeviceManager::CAudioDeviceManager_DeviceEnumeratorChanged(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::DeviceEnumerator_Changed", PointerArgument(DeviceEnumerator->get()));
    if (!DeviceEnumerator.value()) return;
    const CRefPtr<IMMDeviceEnumerator>& enumerator = DeviceEnumerator.value();

    CRefPtr<CSuspendResumeNotificationClient> power =
        MakeRef<CSuspendResumeNotificationClient>(enumerator, Dispatcher(), TraceTarget());
    SuspendResumeNotificationClient.set(power);
    power->RegisterReceiver(this);

    CRefPtr<CMMNotificationClient> endpoints = MakeRef<CMMNotificationClient>(enumerator, Dispatcher(), TraceTarget());
    MMNotificationClient.set(endpoints);
    endpoints->RegisterReceiver(this);

    // Capture endpoints on purpose: a session that records tells that its
    // process uses the microphone.
    CRefPtr<IMMDeviceCollection> devices;
    if (Succeeded(enumerator->EnumAudioEndpoints(eCapture, DEVICE_STATE_ACTIVE, devices)) && devices) {
        uint32_t count = 0;
        if (Failed(devices->GetCount(count))) count = 0;
        for (uint32_t i = 0; i < count; ++i) {
            CRefPtr<IMMDevice> device;
            if (Failed(devices->Item(i, device)) || !device) continue;
            std::wstring id;
            HRESULT hr = device->GetId(id);
            if (Failed(hr))
                Trace(L"IMMDevice::GetId() failed with error = 0x%X.\n", static_cast<uint32_t>(hr));
            else
                OnDeviceStateChanged(id, DEVICE_STATE_ACTIVE);
        }
    }

    // The replay makes the devices of the enumeration now that both clients exist.
    KnownEndpointIds.Subscribe(this, KnownEndpointIds_CollectionHandlers());
    ActiveEndpointIds.Subscribe(this, ActiveEndpointIds_CollectionHandlers());
}

void CAudioDeviceManager::CAudioDeviceManager_DeviceEnumeratorChanging(void*, CallbackCallReason) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::DeviceEnumerator_Changing", PointerArgument(DeviceEnumerator->get()));
    if (!DeviceEnumerator.value()) return;
    // The removed handler's replay takes down every device.
    KnownEndpointIds.Unsubscribe(this, KnownEndpointIds_CollectionHandlers());
    ActiveEndpointIds.Unsubscribe(this, ActiveEndpointIds_CollectionHandlers());
    if (SuspendResumeNotificationClient.value()) SuspendResumeNotificationClient.value()->UnregisterReceiver(this);
    SuspendResumeNotificationClient.set(nullptr);
    if (MMNotificationClient.value()) MMNotificationClient.value()->UnregisterReceiver(this);
    MMNotificationClient.set(nullptr);
}

void CAudioDeviceManager::Initialize(const std::vector<std::string>& endpointIds) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::Initialize");
    if (!InitialEnumerationPending) return;
    // Ids are not checked against those already known: a capture endpoint
    // named here gets a second device.
    for (const std::string& id : endpointIds) {
        KnownEndpointIds.Add(Utf8ToWide(id));
        Trace(L"EndpointID = %s.\n", KnownEndpointIds.items().back());
    }
    InitialEnumerationPending = false;
}

void CAudioDeviceManager::KnownEndpointIds_ItemAdded(const std::wstring& endpointId, int32_t) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::KnownEndpointIds_ItemAdded", endpointId);
    // The order is required: the enumerator resolves the endpoint, the power
    // client makes the first pass through the store, the endpoint client the
    // second, and only then do the classifiers see the device.
    CRefPtr<CAudioDevice> device =
        MakeRef<CAudioDevice>(TraceTarget(), Dispatcher(), Log(), endpointId, !InitialEnumerationPending);
    device->DeviceEnumerator.set(DeviceEnumerator.value());
    device->SuspendResumeNotificationClient.set(SuspendResumeNotificationClient.value());
    device->MMNotificationClient.set(MMNotificationClient.value());
    AudioDevices.Add(device);
    // From now on any turn to active is a connection, also for the
    // endpoints of the start: only their first look is free of a toast.
    device->ShowNewDeviceToast = true;
    CRefPtr<CContentClassifier> classifier =
        MakeRef<CContentClassifier>(this, TraceTarget(), Dispatcher(), Log(), endpointId, m_webClassifier);
    classifier->HostPipeName.set(m_hostPipeName);
    m_contentClassifiers.push_back(classifier);
}

void CAudioDeviceManager::KnownEndpointIds_ItemRemoved(const std::wstring& endpointId, int32_t) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::KnownEndpointIds_ItemRemoved", endpointId);
    // The walk does not step back after a removal, so of two adjacent equal
    // devices the second stays.
    for (std::size_t i = 0; i < AudioDevices.size(); ++i) {
        if (AudioDevices[i]->EndpointId() == endpointId) AudioDevices.RemoveAt(i);
    }
    for (auto it = m_contentClassifiers.begin(); it != m_contentClassifiers.end(); ++it) {
        if ((*it)->EndpointId() == endpointId) {
            m_contentClassifiers.erase(it);
            break;
        }
    }
}

void CAudioDeviceManager::ActiveEndpointIds_ItemAdded(const std::wstring& endpointId, int32_t) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::ActiveEndpointIds_ItemAdded", endpointId);
}

void CAudioDeviceManager::ActiveEndpointIds_ItemRemoved(const std::wstring& endpointId, int32_t) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::ActiveEndpointIds_ItemRemoved", endpointId);
}

void CAudioDeviceManager::OnDeviceStateChanged(const std::wstring& endpointId, uint32_t newState) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::OnDeviceStateChanged");
    // A new endpoint gets its device at once; that device learns the state
    // by asking, since this event reached the receivers before it existed.
    if (!KnownEndpointIds.Contains(endpointId)) KnownEndpointIds.Add(endpointId);
    if (newState == DEVICE_STATE_ACTIVE)
        ActiveEndpointIds.Add(endpointId);
    else
        ActiveEndpointIds.Remove(endpointId);
}

void CAudioDeviceManager::OnPowerSuspendResume(uint32_t type) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::OnPowerSuspendResume");
    Trace(L"Type = %i\n", type);
    if (type == PBT_APMSUSPEND) Trace(L"Received PBT_APMSUSPEND event\n");
    if (type == PBT_APMRESUMEAUTOMATIC) Trace(L"Received PBT_APMRESUMEAUTOMATIC event\n");
}

void CAudioDeviceManager::OnDefaultDeviceChanged(EDataFlow, ERole, const std::wstring&) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::OnDefaultDeviceChanged");
}

void CAudioDeviceManager::OnDeviceAdded(const std::wstring&) { QV_TRACE_SCOPE(L"CAudioDeviceManager::OnDeviceAdded"); }

void CAudioDeviceManager::OnDeviceRemoved(const std::wstring&) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::OnDeviceRemoved");
}

void CAudioDeviceManager::OnPropertyValueChanged(const std::wstring&, PROPERTYKEY key) {
    QV_TRACE_SCOPE(L"CAudioDeviceManager::OnPropertyValueChanged");
    const GUID& g = key.fmtid;
    Trace(kPropertyKeyTraceFormat, g.Data1, g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3],
          g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7], key.pid);
}

}  // namespace qv
