// The audio endpoints and sessions of the simulated machine. It is the
// device enumerator that the model gets, and the test's hand on the
// machine: each operation below changes the state at once, then delivers
// the matching callbacks from the simulation's event thread, in order, to
// the registrations that existed when it was called.
//
// The operations change one thing each and imply nothing more: making an
// endpoint inactive does not disconnect its sessions, removing one does not
// change the defaults. A test that wants those does them too.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/sim/sim_audio_context.h"
#include "platform/sim/sim_audio_endpoint.h"
#include "platform/sim/sim_audio_session.h"
#include "platform/sim/sim_journal.h"

namespace qv {

// Property values as a test writes them. Any other type can be had with
// SimPropertyOfType, to see how the model takes a value of the wrong type.
PROPVARIANT SimPropertyUi4(uint32_t value);
PROPVARIANT SimPropertyString(const std::wstring& value);
PROPVARIANT SimPropertyOfType(VARTYPE type, uint32_t bits);

class CSimAudio : public CAddReleaseRef, public IMMDeviceEnumerator {
public:
    // The registration of endpoint notifications, which marks the model's
    // start, goes into the journal if one is given. (Its unregistration runs
    // on a thread of its own and has no place in an order.)
    explicit CSimAudio(CRefPtr<CSimJournal> journal = nullptr);
    ~CSimAudio() override;

    // CoCreateInstance of the enumerator, for CSimPlatform.
    HRESULT CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator);

    // IMMDeviceEnumerator. Endpoints come in the order they were added.
    // Unknown ids and missing defaults give E_NOTFOUND, as on Windows.
    HRESULT EnumAudioEndpoints(EDataFlow flow, uint32_t stateMask, CRefPtr<IMMDeviceCollection>& devices) override;
    HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole role, CRefPtr<IMMDevice>& endpoint) override;
    HRESULT GetDevice(const std::wstring& id, CRefPtr<IMMDevice>& device) override;
    // No reference is taken. Unregistering returns only when no callback of
    // the client runs any more (on another thread); an injected failure of
    // it still forgets the client, since the model deletes it right after
    // the call whatever it returned.
    HRESULT RegisterEndpointNotificationCallback(IMMNotificationClient* client) override;
    HRESULT UnregisterEndpointNotificationCallback(IMMNotificationClient* client) override;

    // ---- Endpoints. Each gives false, and does nothing, for an unknown id.
    // OnDeviceAdded, then OnDeviceStateChanged. The name, if any, is the
    // PKEY_Device_FriendlyName property. False for an empty id, a flow other
    // than render or capture, or an id that exists.
    bool AddEndpoint(const std::wstring& id, EDataFlow flow, uint32_t state = 0x1 /* DEVICE_STATE_ACTIVE */,
                     const std::wstring& friendlyName = {});
    // OnDeviceStateChanged, with any state the test likes.
    bool SetEndpointState(const std::wstring& id, uint32_t state);
    // OnDefaultDeviceChanged; an empty id means no default any more, which
    // the clients hear as a null id.
    bool SetDefaultEndpoint(EDataFlow flow, ERole role, const std::wstring& id);
    // OnPropertyValueChanged with the key. A VT_EMPTY value removes it.
    bool SetEndpointProperty(const std::wstring& id, const PROPERTYKEY& key, const PROPVARIANT& value);
    // OnDeviceRemoved. GetDevice no longer finds it; objects the model holds
    // read it as not present and can no longer activate it.
    bool RemoveEndpoint(const std::wstring& id);

    // ---- Sessions, named by their instance identifier.
    // Gives the instance identifier, or empty if the endpoint is unknown or
    // the identifier is taken. Announced sessions reach OnSessionCreated of
    // the endpoint's registered notifications.
    std::wstring AddSession(const std::wstring& endpointId, SimSession wanted);
    // The matching event to the session's registered events objects.
    bool SetSessionState(const std::wstring& session, AudioSessionState state);
    bool SetSessionDisplayName(const std::wstring& session, const std::wstring& name);
    bool SetSessionIconPath(const std::wstring& session, const std::wstring& path);
    bool SetSessionVolume(const std::wstring& session, float volume, bool mute = false);
    // changedChannel is the index of the one channel that changed, or
    // 0xFFFFFFFF when more than one did.
    bool SetSessionChannelVolumes(const std::wstring& session, const std::vector<float>& volumes,
                                  uint32_t changedChannel = 0xFFFFFFFFu);
    bool SetSessionGroupingParam(const std::wstring& session, const GUID& grouping);
    // OnSessionDisconnected. The session leaves its endpoint's list, and
    // registering for its events fails with AUDCLNT_E_DEVICE_INVALIDATED.
    bool DisconnectSession(const std::wstring& session, AudioSessionDisconnectReason reason);
    // Takes the session off its endpoint's list without a word, so later
    // enumerations no longer show it.
    bool RemoveSession(const std::wstring& session);

    // ---- Failures of the calls above (see CSimAudioContext for the names,
    // "Interface::Method"). The target is an endpoint id, or a session's
    // instance identifier; session calls also match their endpoint's id.
    void Fail(const std::wstring& operation, HRESULT code, const std::wstring& target = {},
              uint32_t times = CSimFailures::kUntilCleared) {
        m_context->Failures.Fail(operation, static_cast<uint32_t>(code), target, times);
    }
    void FailOnce(const std::wstring& operation, HRESULT code, const std::wstring& target = {}) {
        Fail(operation, code, target, 1);
    }
    void ClearFailure(const std::wstring& operation, const std::wstring& target = {}) {
        m_context->Failures.Clear(operation, target);
    }
    void ClearFailures() { m_context->Failures.ClearAll(); }
    uint64_t CallCount(const std::wstring& operation, const std::wstring& target = {}) const {
        return m_context->Failures.CallCount(operation, target);
    }

    // ---- What the model has done.
    // True once every callback raised so far has returned.
    bool WaitUntilDelivered(std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        return m_context->Events.WaitUntilDelivered(timeout);
    }
    std::size_t EndpointClientCount() const { return m_context->EndpointClients.Count(); }
    // Registered IAudioSessionNotification objects of the endpoint, and
    // IAudioSessionEvents objects of the session.
    std::size_t SessionNotificationCount(const std::wstring& endpointId);
    std::size_t SessionEventsCount(const std::wstring& session);

    // Drops undelivered callbacks and lets go of every registration. Called
    // when the machine goes away; the objects the model holds keep working.
    void Shutdown();

private:
    // With the context's lock held.
    CRefPtr<CSimEndpoint> FindEndpoint(const std::wstring& id) const;
    CRefPtr<CSimAudioSession> FindSession(const std::wstring& instanceId) const;
    // To the given clients, or to those registered now.
    template <class Call>
    void RaiseEndpointEvent(Call call, std::optional<std::vector<uint64_t>> clients = std::nullopt);
    template <class Change>
    bool WithSession(const std::wstring& session, Change change);

    const CRefPtr<CSimAudioContext> m_context;
    const CRefPtr<CSimJournal> m_journal;
    // Guarded by the context's lock.
    std::vector<CRefPtr<CSimEndpoint>> m_endpoints;     // present, in the order of adding
    std::vector<CRefPtr<CSimEndpoint>> m_allEndpoints;  // also the removed ones
    std::vector<CRefPtr<CSimAudioSession>> m_allSessions;
    std::map<std::pair<EDataFlow, ERole>, std::wstring> m_defaults;
    uint64_t m_sessionCount = 0;
};

}  // namespace qv
