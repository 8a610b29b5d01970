// One endpoint of the simulated machine. It is its own device, endpoint,
// property store and session manager: every way in to the endpoint reaches
// the same state, which the test changes through CSimAudio.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/audio.h"
#include "platform/sim/sim_audio_context.h"
#include "platform/sim/sim_audio_session.h"

namespace qv {

class CSimEndpoint : public CAddReleaseRef,
                     public IMMDevice,
                     public IMMEndpoint,
                     public IPropertyStore,
                     public IAudioSessionManager2 {
public:
    CSimEndpoint(CRefPtr<CSimAudioContext> context, std::wstring id, EDataFlow flow, uint32_t state);

    // IMMDevice. Activate gives AUDCLNT_E_DEVICE_INVALIDATED unless the
    // endpoint is active. A removed endpoint reads as not present.
    HRESULT Activate(const GUID& iid, uint32_t clsCtx, CRefPtr<IAudioSessionManager2>& manager) override;
    HRESULT OpenPropertyStore(uint32_t access, CRefPtr<IPropertyStore>& store) override;
    HRESULT GetId(std::wstring& id) override;
    HRESULT GetState(uint32_t& state) override;
    HRESULT QueryInterface(CRefPtr<IMMEndpoint>& endpoint) override;
    // IMMEndpoint
    HRESULT GetDataFlow(EDataFlow& flow) override;
    // IPropertyStore: the values as they are at the time of the read, so a
    // store opened once sees every later change.
    HRESULT GetValue(const PROPERTYKEY& key, PROPVARIANT& value) override;
    // IAudioSessionManager2. The enumerator is a snapshot of the sessions.
    // A registered notification is held until unregistered.
    HRESULT GetSessionEnumerator(CRefPtr<IAudioSessionEnumerator>& enumerator) override;
    HRESULT RegisterSessionNotification(IAudioSessionNotification* notification) override;
    HRESULT UnregisterSessionNotification(IAudioSessionNotification* notification) override;

    const std::wstring& Id() const { return m_id; }

private:
    friend class CSimAudio;
    std::optional<uint32_t> Enter(const wchar_t* operation) { return m_context->Failures.Enter(operation, {m_id}); }

    const CRefPtr<CSimAudioContext> m_context;
    const std::wstring m_id;
    const EDataFlow m_flow;
    // Guarded by the context's lock.
    uint32_t m_state;
    bool m_removed = false;
    std::vector<std::pair<PROPERTYKEY, PROPVARIANT>> m_properties;
    std::vector<CRefPtr<CSimAudioSession>> m_sessions;
    CCallbackList<IAudioSessionNotification, true> m_notifications;
};

// The result of EnumAudioEndpoints: the endpoints at the time of the call.
class CSimDeviceCollection : public CAddReleaseRef, public IMMDeviceCollection {
public:
    CSimDeviceCollection(CRefPtr<CSimAudioContext> context, std::vector<CRefPtr<CSimEndpoint>> endpoints)
        : m_context(std::move(context)), m_endpoints(std::move(endpoints)) {}
    HRESULT GetCount(uint32_t& count) override;
    HRESULT Item(uint32_t index, CRefPtr<IMMDevice>& device) override;

private:
    const CRefPtr<CSimAudioContext> m_context;
    const std::vector<CRefPtr<CSimEndpoint>> m_endpoints;
};

// The result of GetSessionEnumerator: the sessions at the time of the call.
class CSimSessionEnumerator : public CAddReleaseRef, public IAudioSessionEnumerator {
public:
    CSimSessionEnumerator(CRefPtr<CSimAudioContext> context, std::wstring endpointId,
                          std::vector<CRefPtr<CSimAudioSession>> sessions)
        : m_context(std::move(context)), m_endpointId(std::move(endpointId)), m_sessions(std::move(sessions)) {}
    HRESULT GetCount(int32_t& count) override;
    HRESULT GetSession(int32_t index, CRefPtr<IAudioSessionControl>& session) override;

private:
    const CRefPtr<CSimAudioContext> m_context;
    const std::wstring m_endpointId;
    const std::vector<CRefPtr<CSimAudioSession>> m_sessions;
};

}  // namespace qv
