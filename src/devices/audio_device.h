// One audio endpoint, render or capture, by its endpoint id. It finds the
// platform's device, tells whether the endpoint is usable and whether it is
// the default multimedia output, and mirrors the four values of the automatic
// preset from the endpoint's property store. It only reads the endpoint.
//
// The object is a ladder: DeviceEnumerator -> the two notification clients ->
// MMDevice -> IsActive -> AudioEndpointProperties. Setting DeviceEnumerator
// to null and back rebuilds it in place.
#pragma once

#include <cstdint>
#include <string>

#include "core/common_base.h"
#include "devices/mm_notification_client.h"
#include "devices/notification_receivers.h"
#include "devices/suspend_resume_notification_client.h"
#include "platform/audio.h"
#include "prompts/new_device_connected_toast.h"

namespace qv {

class CAudioDevice : public CCommonBase, public ISuspendResumeNotificationReceiver, public IMMNotificationReceiver {
public:
    CAudioDevice(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                 const CRefPtr<CContentClassifierLog>& log, const std::wstring& endpointId, bool showNewDeviceToast);

    const std::wstring& EndpointId() const { return m_endpointId; }

    // Receivers; they run on the main thread.
    void OnPowerSuspendResume(uint32_t type) override;
    void OnDefaultDeviceChanged(EDataFlow flow, ERole role, const std::wstring& endpointId) override;
    void OnDeviceAdded(const std::wstring& endpointId) override;
    void OnDeviceRemoved(const std::wstring& endpointId) override;
    void OnDeviceStateChanged(const std::wstring& endpointId, uint32_t newState) override;
    void OnPropertyValueChanged(const std::wstring& endpointId, PROPERTYKEY key) override;

    // Re-reads the four values of the automatic preset.
    void OnPostedPropertyValueChanged();

private:
    std::wstring m_endpointId;
    CRefPtr<CShowNewDeviceConnectedToast> NewDeviceToast;

public:
    observable_property<CAudioDevice, CRefPtr<IMMDeviceEnumerator>> DeviceEnumerator{this, "DeviceEnumerator"};
    observable_property<CAudioDevice, CRefPtr<CSuspendResumeNotificationClient>> SuspendResumeNotificationClient{
        this, "SuspendResumeNotificationClient"};
    observable_property<CAudioDevice, CRefPtr<CMMNotificationClient>> MMNotificationClient{this,
                                                                                           "MMNotificationClient"};
    observable_property<CAudioDevice, CRefPtr<IMMDevice>> MMDevice{this, "MMDevice"};
    observable_property<CAudioDevice, CRefPtr<IMMEndpoint>> MMEndpoint{this, "MMEndpoint"};
    // Unknown until the endpoint is resolved; it keeps its value when the
    // device is taken down.
    observable_property<CAudioDevice, EDataFlow> DataFlow{this, "DataFlow", EDataFlowUnknown};
    observable_property<CAudioDevice, CRefPtr<IPropertyStore>> AudioEndpointProperties{this, "AudioEndpointProperties"};
    observable_property<CAudioDevice, bool> IsActive{this, "IsActive"};
    observable_property<CAudioDevice, bool> IsDefaultEndpoint{this, "IsDefaultEndpoint"};
    // 0: the automatic preset runs while EnableAutoPreset is true; 1: it runs
    // whatever EnableAutoPreset says; anything else: it does not run.
    observable_property<CAudioDevice, uint32_t> AutoPresetFeatureMode{this, "AutoPresetFeatureMode"};
    observable_property<CAudioDevice, std::wstring> ContentTypeName{this, "ContentTypeName"};
    observable_property<CAudioDevice, bool> HasAutoPreset{this, "HasAutoPreset"};
    observable_property<CAudioDevice, bool> EnableAutoPreset{this, "EnableAutoPreset"};

    // 100-ns ticks of the system clock; 0 at first.
    uint64_t LastSuspendTime = 0;
    uint64_t LastResumeTime = 0;
    // Whether a turn to active counts as a newly connected device.
    bool ShowNewDeviceToast;
    CWeakRefPtr<CAsyncAction> PostedPropertyChangeAction;

protected:
    ~CAudioDevice() override;

private:
    QV_PROPERTY_HANDLERS(CAudioDevice, DeviceEnumerator)
    QV_PROPERTY_HANDLERS(CAudioDevice, SuspendResumeNotificationClient)
    QV_PROPERTY_HANDLERS(CAudioDevice, MMNotificationClient)
    QV_PROPERTY_HANDLERS(CAudioDevice, MMDevice)
    QV_PROPERTY_HOOKS(MMEndpoint)
    QV_PROPERTY_HOOKS(DataFlow)
    QV_PROPERTY_HANDLERS(CAudioDevice, AudioEndpointProperties)
    QV_PROPERTY_HANDLERS(CAudioDevice, IsActive)
    QV_PROPERTY_HOOKS(IsDefaultEndpoint)
    QV_PROPERTY_HOOKS(AutoPresetFeatureMode)
    QV_PROPERTY_HOOKS(ContentTypeName)
    QV_PROPERTY_HOOKS(HasAutoPreset)
    QV_PROPERTY_HOOKS(EnableAutoPreset)

    void StartNewDeviceToast();
    uint64_t Now() const;
};

}  // namespace qv
