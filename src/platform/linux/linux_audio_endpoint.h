// One audio endpoint on Linux, named by the sink's or source's name, which
// is its id. Like a Windows endpoint it is its own device, endpoint, property
// store and session manager; every way in reads the state of the moment.
//
// GetState: DEVICE_STATE_ACTIVE while present (running, idle or suspended),
// DEVICE_STATE_UNPLUGGED when its active port is unavailable,
// DEVICE_STATE_NOTPRESENT once removed. Activate of the session manager
// needs a present endpoint (AUDCLNT_E_DEVICE_INVALIDATED otherwise). The
// properties: linux_endpoint_properties.h. The sessions: its streams, see
// linux_audio_session.h.
#pragma once

#include <string>

#include "platform/linux/linux_pulse_context.h"

namespace qv {

class CLinuxAudioEndpoint : public CAddReleaseRef,
                            public IMMDevice,
                            public IMMEndpoint,
                            public IPropertyStore,
                            public IAudioSessionManager2 {
public:
    CLinuxAudioEndpoint(CRefPtr<CPulseAudioContext> context, EDataFlow flow, std::string name);

    HRESULT Activate(const GUID& iid, uint32_t clsCtx, CRefPtr<IAudioSessionManager2>& manager) override;
    HRESULT OpenPropertyStore(uint32_t access, CRefPtr<IPropertyStore>& store) override;
    HRESULT GetId(std::wstring& id) override;
    HRESULT GetState(uint32_t& state) override;
    HRESULT QueryInterface(CRefPtr<IMMEndpoint>& endpoint) override;
    HRESULT GetDataFlow(EDataFlow& flow) override;
    HRESULT GetValue(const PROPERTYKEY& key, PROPVARIANT& value) override;
    // The streams linked to the endpoint at the moment of the call.
    HRESULT GetSessionEnumerator(CRefPtr<IAudioSessionEnumerator>& enumerator) override;
    // New streams of this endpoint, by its id, also across a removal and a
    // return of the endpoint. Held until unregistered.
    HRESULT RegisterSessionNotification(IAudioSessionNotification* notification) override;
    HRESULT UnregisterSessionNotification(IAudioSessionNotification* notification) override;

private:
    const CRefPtr<CPulseAudioContext> m_context;
    const EDataFlow m_flow;
    const std::string m_name;
};

// The result of GetSessionEnumerator.
class CLinuxSessionEnumerator : public CAddReleaseRef, public IAudioSessionEnumerator {
public:
    explicit CLinuxSessionEnumerator(std::vector<CRefPtr<IAudioSessionControl>> sessions)
        : m_sessions(std::move(sessions)) {}
    HRESULT GetCount(int32_t& count) override;
    HRESULT GetSession(int32_t index, CRefPtr<IAudioSessionControl>& session) override;

private:
    const std::vector<CRefPtr<IAudioSessionControl>> m_sessions;
};

}  // namespace qv
