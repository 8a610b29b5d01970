#include "platform/win32/win32_session_callback_adapters.h"

#include <optional>

#include "platform/win32/win32_audio_session.h"
#include "platform/win32/win32_guid.h"

namespace qv {

namespace {

// An event context is optional on the platform's side; the model takes a
// pointer too, so a null one stays null and a given one is converted into
// storage that lives for the call.
class CEventContext {
public:
    explicit CEventContext(LPCGUID context) {
        if (context) m_value = FromWindowsGuid(*context);
    }
    const GUID* get() const { return m_value ? &*m_value : nullptr; }

private:
    std::optional<GUID> m_value;
};

}  // namespace

// ---- IAudioSessionNotification

::HRESULT STDMETHODCALLTYPE CWin32SessionNotificationAdapter::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    const bool isUnknown = iid == __uuidof(::IUnknown);
    if (!isUnknown && iid != __uuidof(::IAudioSessionNotification)) return E_NOINTERFACE;
    if (!ModelAnswersTo(m_notification.get(), isUnknown ? IID_IUnknown : IID_IAudioSessionNotification))
        return E_NOINTERFACE;
    AddRef();
    *object = static_cast<::IAudioSessionNotification*>(this);
    return S_OK;
}

::HRESULT STDMETHODCALLTYPE CWin32SessionNotificationAdapter::OnSessionCreated(::IAudioSessionControl* newSession) {
    if (!newSession) return m_notification->OnSessionCreated(nullptr);
    // The platform's reference to the session lasts only for this call; the
    // control object takes its own.
    CRefPtr<CWin32SessionControl> control = MakeRef<CWin32SessionControl>(CRefPtr<::IAudioSessionControl>(newSession));
    return m_notification->OnSessionCreated(control.get());
}

// ---- IAudioSessionEvents

::HRESULT STDMETHODCALLTYPE CWin32SessionEventsAdapter::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    const bool isUnknown = iid == __uuidof(::IUnknown);
    if (!isUnknown && iid != __uuidof(::IAudioSessionEvents)) return E_NOINTERFACE;
    if (!ModelAnswersTo(m_events.get(), isUnknown ? IID_IUnknown : IID_IAudioSessionEvents)) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<::IAudioSessionEvents*>(this);
    return S_OK;
}

::HRESULT STDMETHODCALLTYPE CWin32SessionEventsAdapter::OnDisplayNameChanged(LPCWSTR newDisplayName,
                                                                             LPCGUID eventContext) {
    return m_events->OnDisplayNameChanged(newDisplayName, CEventContext(eventContext).get());
}

::HRESULT STDMETHODCALLTYPE CWin32SessionEventsAdapter::OnIconPathChanged(LPCWSTR newIconPath, LPCGUID eventContext) {
    return m_events->OnIconPathChanged(newIconPath, CEventContext(eventContext).get());
}

::HRESULT STDMETHODCALLTYPE CWin32SessionEventsAdapter::OnSimpleVolumeChanged(float newVolume, WINBOOL newMute,
                                                                              LPCGUID eventContext) {
    return m_events->OnSimpleVolumeChanged(newVolume, newMute != FALSE, CEventContext(eventContext).get());
}

::HRESULT STDMETHODCALLTYPE CWin32SessionEventsAdapter::OnChannelVolumeChanged(DWORD channelCount,
                                                                               float newChannelVolumes[],
                                                                               DWORD changedChannel,
                                                                               LPCGUID eventContext) {
    // Without the array there are no channels to read, whatever the count says.
    return m_events->OnChannelVolumeChanged(newChannelVolumes ? channelCount : 0, newChannelVolumes, changedChannel,
                                            CEventContext(eventContext).get());
}

::HRESULT STDMETHODCALLTYPE CWin32SessionEventsAdapter::OnGroupingParamChanged(LPCGUID newGroupingParam,
                                                                               LPCGUID eventContext) {
    // The model takes the grouping by value; a missing one is the null GUID,
    // which is also what a session without a grouping reports.
    const GUID grouping = newGroupingParam ? FromWindowsGuid(*newGroupingParam) : GUID{};
    return m_events->OnGroupingParamChanged(grouping, CEventContext(eventContext).get());
}

::HRESULT STDMETHODCALLTYPE CWin32SessionEventsAdapter::OnStateChanged(::AudioSessionState newState) {
    return m_events->OnStateChanged(static_cast<AudioSessionState>(newState));
}

::HRESULT STDMETHODCALLTYPE CWin32SessionEventsAdapter::OnSessionDisconnected(::AudioSessionDisconnectReason reason) {
    return m_events->OnSessionDisconnected(static_cast<AudioSessionDisconnectReason>(reason));
}

}  // namespace qv
