// What the endpoint and power notification clients deliver to, on the main
// thread. A receiver is a model object; the clients hold it only weakly.
#pragma once

#include <cstdint>
#include <string>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

struct IMMNotificationReceiver : virtual IAddReleaseRef, virtual IWeakRefCtrlBlockProvider {
    virtual void OnDefaultDeviceChanged(EDataFlow flow, ERole role, const std::wstring& endpointId) = 0;
    virtual void OnDeviceAdded(const std::wstring& endpointId) = 0;
    virtual void OnDeviceRemoved(const std::wstring& endpointId) = 0;
    virtual void OnDeviceStateChanged(const std::wstring& endpointId, uint32_t newState) = 0;
    virtual void OnPropertyValueChanged(const std::wstring& endpointId, PROPERTYKEY key) = 0;
};

struct ISuspendResumeNotificationReceiver : virtual IAddReleaseRef, virtual IWeakRefCtrlBlockProvider {
    virtual void OnPowerSuspendResume(uint32_t type) = 0;
};

// The key text of a property event: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}, pid".
inline constexpr const wchar_t* kPropertyKeyTraceFormat =
    L"Key = {{%08lX-%04hX-%04hX-%02hhX%02hhX-%02hhX%02hhX%02hhX%02hhX%02hhX%02hhX}, %i}\n";

}  // namespace qv
