// The root of the object graph under main: the platform's device enumerator,
// the two notification clients, and the set of endpoints the process knows,
// each with its device. Known endpoints come from three sources, in this
// order: every capture endpoint active at start (a capture session tells that
// its process uses the microphone), the ids the process was given, and any
// endpoint of any flow whose state changes later.
#pragma once

#include <string>
#include <vector>

#include "core/common_base.h"
#include "devices/audio_device.h"
#include "devices/mm_notification_client.h"
#include "devices/notification_receivers.h"
#include "devices/suspend_resume_notification_client.h"

namespace qv {

class CContentClassifier;
class CWebContentClassifier;

class CAudioDeviceManager : public CCommonBase,
                            public ISuspendResumeNotificationReceiver,
                            public IMMNotificationReceiver {
public:
    using EndpointIdCollection = observable_collection<CAudioDeviceManager, std::wstring>;
    using AudioDeviceCollection = observable_collection<CAudioDeviceManager, CRefPtr<CAudioDevice>>;

    CAudioDeviceManager(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                        const CRefPtr<IAsyncActionDispatcher>& dispatcher, const std::string& hostPipeName,
                        const CRefPtr<CContentClassifierLog>& log);

    // The endpoint ids of the command line, UTF-8. Only the first call counts.
    void Initialize(const std::vector<std::string>& endpointIds);

    void OnPowerSuspendResume(uint32_t type) override;
    void OnDefaultDeviceChanged(EDataFlow flow, ERole role, const std::wstring& endpointId) override;
    void OnDeviceAdded(const std::wstring& endpointId) override;
    void OnDeviceRemoved(const std::wstring& endpointId) override;
    void OnDeviceStateChanged(const std::wstring& endpointId, uint32_t newState) override;
    void OnPropertyValueChanged(const std::wstring& endpointId, PROPERTYKEY key) override;

    observable_property<CAudioDeviceManager, CRefPtr<IMMDeviceEnumerator>> DeviceEnumerator{this, "DeviceEnumerator"};
    observable_property<CAudioDeviceManager, CRefPtr<CSuspendResumeNotificationClient>>
        SuspendResumeNotificationClient{this, "SuspendResumeNotificationClient"};
    observable_property<CAudioDeviceManager, CRefPtr<CMMNotificationClient>> MMNotificationClient{
        this, "MMNotificationClient"};

    // Every endpoint with a device; nothing removes an id during the run.
    EndpointIdCollection KnownEndpointIds{this};
    // The ids reported active. Add does not look, so an id may stand twice;
    // each report other than active removes one.
    EndpointIdCollection ActiveEndpointIds{this};
    AudioDeviceCollection AudioDevices{this};

    bool InitialEnumerationPending = true;
    const std::string& HostPipeName() const { return m_hostPipeName; }
    const CRefPtr<CWebContentClassifier>& WebContentClassifier() const { return m_webClassifier; }
    // One per device, in order of creation.
    const std::vector<CRefPtr<CContentClassifier>>& ContentClassifiers() const { return m_contentClassifiers; }

protected:
    ~CAudioDeviceManager() override;

private:
    QV_PROPERTY_HANDLERS(CAudioDeviceManager, DeviceEnumerator)
    QV_PROPERTY_HOOKS(SuspendResumeNotificationClient)
    QV_PROPERTY_HOOKS(MMNotificationClient)
    QV_COLLECTION_HANDLERS(CAudioDeviceManager, EndpointIdCollection, KnownEndpointIds)
    QV_COLLECTION_HANDLERS(CAudioDeviceManager, EndpointIdCollection, ActiveEndpointIds)

    std::string m_hostPipeName;
    // Shared by every classifier; only the default endpoint's uses it.
    CRefPtr<CWebContentClassifier> m_webClassifier;
    std::vector<CRefPtr<CContentClassifier>> m_contentClassifiers;
};

}  // namespace qv
