// The platform's IAudioSessionNotification and IAudioSessionEvents in front
// of the model's. The session manager and the session control hold a
// reference to what is registered with them, so these adapters hold the
// model's object strongly: it lives while the platform may call it, and
// goes with the platform's last reference after the unregistration.
//
// Inside these classes the platform's interface names are the base's own, so
// the model's are written with their namespace.
#pragma once

#include "core/ref.h"
#include "platform/audio.h"
#include "platform/win32/win32_com_callback.h"

#include <audiopolicy.h>

namespace qv {

class CWin32SessionNotificationAdapter final : public CComCallback<::IAudioSessionNotification> {
public:
    explicit CWin32SessionNotificationAdapter(qv::IAudioSessionNotification* notification)
        : m_notification(notification) {}
    qv::IAudioSessionNotification* Notification() const { return m_notification.get(); }

    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    // The new session reaches the model as its own control object, which
    // the model keeps if it wants the session; a null session stays null.
    ::HRESULT STDMETHODCALLTYPE OnSessionCreated(::IAudioSessionControl* newSession) override;

private:
    const CRefPtr<qv::IAudioSessionNotification> m_notification;
};

class CWin32SessionEventsAdapter final : public CComCallback<::IAudioSessionEvents> {
public:
    explicit CWin32SessionEventsAdapter(qv::IAudioSessionEvents* events) : m_events(events) {}
    qv::IAudioSessionEvents* Events() const { return m_events.get(); }

    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ::HRESULT STDMETHODCALLTYPE OnDisplayNameChanged(LPCWSTR newDisplayName, LPCGUID eventContext) override;
    ::HRESULT STDMETHODCALLTYPE OnIconPathChanged(LPCWSTR newIconPath, LPCGUID eventContext) override;
    ::HRESULT STDMETHODCALLTYPE OnSimpleVolumeChanged(float newVolume, WINBOOL newMute, LPCGUID eventContext) override;
    ::HRESULT STDMETHODCALLTYPE OnChannelVolumeChanged(DWORD channelCount, float newChannelVolumes[],
                                                       DWORD changedChannel, LPCGUID eventContext) override;
    ::HRESULT STDMETHODCALLTYPE OnGroupingParamChanged(LPCGUID newGroupingParam, LPCGUID eventContext) override;
    ::HRESULT STDMETHODCALLTYPE OnStateChanged(::AudioSessionState newState) override;
    ::HRESULT STDMETHODCALLTYPE OnSessionDisconnected(::AudioSessionDisconnectReason reason) override;

private:
    const CRefPtr<qv::IAudioSessionEvents> m_events;
};

}  // namespace qv
