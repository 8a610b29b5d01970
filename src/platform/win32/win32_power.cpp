#include "platform/win32/win32_power.h"

#include "platform/win32/windows_api.h"

// mingw-w64 declares neither the two functions nor their parameter record,
// though its libpowrprof.a has the symbols. These are the SDK's declarations
// (powerbase.h), under names of this file's own for the record and the
// callback, so that a later header that brings them causes no clash.
extern "C" {
DWORD WINAPI PowerRegisterSuspendResumeNotification(DWORD flags, HANDLE recipient, PHPOWERNOTIFY registrationHandle);
DWORD WINAPI PowerUnregisterSuspendResumeNotification(HPOWERNOTIFY registrationHandle);
}

namespace qv {

namespace {

using DeviceNotifyCallbackRoutine = ULONG(CALLBACK*)(PVOID context, ULONG type, PVOID setting);

// DEVICE_NOTIFY_SUBSCRIBE_PARAMETERS.
struct DeviceNotifySubscribeParameters {
    DeviceNotifyCallbackRoutine Callback;
    PVOID Context;
};

constexpr DWORD kDeviceNotifyCallback = 2;  // DEVICE_NOTIFY_CALLBACK

ULONG CALLBACK OnSuspendResume(PVOID context, ULONG type, PVOID setting) {
    return static_cast<ISuspendResumeCallback*>(context)->PowerSuspendResumeNotification(type, setting);
}

}  // namespace

struct CWin32Power::Subscription {
    DeviceNotifySubscribeParameters parameters;
};

CWin32Power::CWin32Power() = default;

// A registration still standing is the model's to end; its parameters stay
// with it rather than be freed under the system's feet.
CWin32Power::~CWin32Power() {
    for (auto& [handle, subscription] : m_subscriptions) subscription.release();
}

Win32Error CWin32Power::PowerRegisterSuspendResumeNotification(ISuspendResumeCallback* callback,
                                                               HPOWERNOTIFY& registration) {
    registration = 0;
    if (!callback) return ERROR_INVALID_PARAMETER;
    auto subscription = std::make_unique<Subscription>();
    subscription->parameters = {OnSuspendResume, callback};
    ::HPOWERNOTIFY handle = nullptr;
    DWORD error = ::PowerRegisterSuspendResumeNotification(kDeviceNotifyCallback, &subscription->parameters, &handle);
    if (error != ERROR_SUCCESS) return error;
    registration = reinterpret_cast<HPOWERNOTIFY>(handle);
    std::lock_guard lock(m_lock);
    m_subscriptions[registration] = std::move(subscription);
    return ERROR_SUCCESS;
}

Win32Error CWin32Power::PowerUnregisterSuspendResumeNotification(HPOWERNOTIFY registration) {
    DWORD error = ::PowerUnregisterSuspendResumeNotification(reinterpret_cast<::HPOWERNOTIFY>(registration));
    // Only an ended registration frees its parameters: after a failure the
    // system may still read them.
    if (error == ERROR_SUCCESS) {
        std::lock_guard lock(m_lock);
        m_subscriptions.erase(registration);
    }
    return error;
}

}  // namespace qv
