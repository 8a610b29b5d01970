// The audio sessions of one endpoint. It activates the endpoint's session
// manager, enumerates what is there, registers for new sessions, and sorts
// them into three collections: all, the active ones, and the active ones
// behind a web browser. Managers know only their own endpoint; what connects
// sessions of different endpoints is their process.
#pragma once

#include <string>

#include "core/common_base.h"
#include "devices/audio_device.h"
#include "platform/audio.h"
#include "sessions/audio_session_callbacks.h"

namespace qv {

class CAudioSession;

class CAudioSessionManager : public CCommonBase {
public:
    using SessionCollection = observable_collection<CAudioSessionManager, CRefPtr<CAudioSession>>;

    CAudioSessionManager(const std::wstring& endpointId, const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                         const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log);

    // Main thread: from the enumeration, and from the action that a new
    // session's platform event posts.
    void OnNewAudioSessionControl(const CRefPtr<IAudioSessionControl>& control);

    const std::wstring& EndpointId() const { return m_endpointId; }

    observable_property<CAudioSessionManager, CRefPtr<CAudioDevice>> AudioDevice{this, "AudioDevice"};
    observable_property<CAudioSessionManager, CRefPtr<IAudioSessionManager2>> AudioSessionManager2{
        this, "AudioSessionManager2"};
    observable_property<CAudioSessionManager, CRefPtr<IAudioSessionEnumerator>> AudioSessionEnumerator{
        this, "AudioSessionEnumerator"};

    SessionCollection audioSessions{this};
    // The sessions of audioSessions whose State is active.
    SessionCollection activeAudioSessions{this};
    // The active sessions that have a WebBrowserProcessInfo.
    SessionCollection webBrowserAudioSessions{this};

protected:
    ~CAudioSessionManager() override;

private:
    QV_PROPERTY_HANDLERS(CAudioSessionManager, AudioDevice)
    QV_PROPERTY_HANDLERS(CAudioSessionManager, AudioSessionManager2)
    QV_PROPERTY_HANDLERS(CAudioSessionManager, AudioSessionEnumerator)
    QV_PROPERTY_HANDLERS(CAudioSessionManager, AudioDeviceIsActive)
    QV_PROPERTY_HANDLERS(CAudioSessionManager, audioSessionState)
    QV_PROPERTY_HANDLERS(CAudioSessionManager, audioSessionWebBrowserProcessInfo)
    QV_COLLECTION_HANDLERS(CAudioSessionManager, SessionCollection, audioSessions)

    // Owns one reference; null while the device is not active.
    CRefPtr<CAudioSessionNotification> m_sessionNotification;
    std::wstring m_endpointId;
};

}  // namespace qv
