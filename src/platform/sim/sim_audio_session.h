// One audio session of the simulated machine; it is its own control
// object, so every enumeration and every notification hands out the same
// object for the same session.
#pragma once

#include <optional>
#include <string>

#include "platform/audio.h"
#include "platform/sim/sim_audio_context.h"

namespace qv {

// A session as a test describes it.
struct SimSession {
    uint32_t processId = 0;
    std::wstring displayName{};
    std::wstring iconPath{};
    GUID groupingParam{};
    // The instance identifier names the session in every later call of the
    // test (SetSessionState...) and as a failure target; both identifiers
    // are made up when left empty.
    std::wstring instanceIdentifier{};
    std::wstring sessionIdentifier{};
    bool isSystemSounds = false;
    AudioSessionState state = AudioSessionStateInactive;
    // Whether the endpoint's registered notifications hear of it
    // (OnSessionCreated). Without, it is simply there at the next
    // enumeration, as a session that existed before anybody looked.
    bool announce = true;
};

class CSimAudioSession : public CAddReleaseRef, public IAudioSessionControl2 {
public:
    CSimAudioSession(CRefPtr<CSimAudioContext> context, std::wstring endpointId, SimSession wanted,
                     bool endpointActive);

    HRESULT GetState(AudioSessionState& state) override;
    HRESULT GetDisplayName(std::wstring& name) override;
    HRESULT GetIconPath(std::wstring& path) override;
    HRESULT GetGroupingParam(GUID& grouping) override;
    // Holds a reference until unregistered. AUDCLNT_E_DEVICE_INVALIDATED
    // while the endpoint is not active (or gone) and after a disconnection.
    HRESULT RegisterAudioSessionNotification(IAudioSessionEvents* events) override;
    HRESULT UnregisterAudioSessionNotification(IAudioSessionEvents* events) override;
    HRESULT QueryInterface(CRefPtr<IAudioSessionControl2>& control2) override;
    HRESULT GetSessionIdentifier(std::wstring& id) override;
    HRESULT GetSessionInstanceIdentifier(std::wstring& id) override;
    HRESULT GetProcessId(uint32_t& processId) override;
    HRESULT IsSystemSoundsSession() override;

    const std::wstring& InstanceId() const { return m_instanceId; }

private:
    friend class CSimAudio;
    std::optional<uint32_t> Enter(const wchar_t* operation);

    const CRefPtr<CSimAudioContext> m_context;
    const std::wstring m_endpointId;
    const std::wstring m_instanceId;
    // Guarded by the context's lock.
    SimSession m_values;
    bool m_endpointActive;
    bool m_disconnected = false;
    CCallbackList<IAudioSessionEvents, true> m_events;
};

}  // namespace qv
