#include "platform/sim/sim_audio.h"

#include <algorithm>

#include "platform/codes.h"

namespace qv {

namespace {
// The event context that the session events carry: nobody's in particular.
const GUID kNoEventContext{};

bool IsEndpointFlow(EDataFlow flow) { return flow == eRender || flow == eCapture; }
bool IsRole(ERole role) { return role == eConsole || role == eMultimedia || role == eCommunications; }
}  // namespace

PROPVARIANT SimPropertyUi4(uint32_t value) { return SimPropertyOfType(VT_UI4, value); }

PROPVARIANT SimPropertyString(const std::wstring& value) {
    PROPVARIANT v;
    v.vt = VT_LPWSTR;
    v.pwszVal = value;
    return v;
}

PROPVARIANT SimPropertyOfType(VARTYPE type, uint32_t bits) {
    PROPVARIANT v;
    v.vt = type;
    v.ulVal = bits;
    return v;
}

CSimAudio::CSimAudio(CRefPtr<CSimJournal> journal)
    : m_context(MakeRef<CSimAudioContext>()), m_journal(std::move(journal)) {}

CSimAudio::~CSimAudio() { Shutdown(); }

CRefPtr<CSimEndpoint> CSimAudio::FindEndpoint(const std::wstring& id) const {
    auto found = std::find_if(m_endpoints.begin(), m_endpoints.end(), [&](const auto& e) { return e->m_id == id; });
    return found == m_endpoints.end() ? nullptr : *found;
}

CRefPtr<CSimAudioSession> CSimAudio::FindSession(const std::wstring& instanceId) const {
    auto found = std::find_if(m_allSessions.begin(), m_allSessions.end(),
                              [&](const auto& s) { return s->m_instanceId == instanceId; });
    return found == m_allSessions.end() ? nullptr : *found;
}

// Raised with the context's lock held, as all events are, so that the
// deliveries queue in the order of the changes they report.
template <class Call>
void CSimAudio::RaiseEndpointEvent(Call call, std::optional<std::vector<uint64_t>> clients) {
    if (!clients) clients = m_context->EndpointClients.Snapshot();
    m_context->Events.Post([context = m_context, ids = std::move(*clients), call = std::move(call)] {
        context->EndpointClients.Deliver(ids, call);
    });
}

// Runs the change on the session under the context's lock.
template <class Change>
bool CSimAudio::WithSession(const std::wstring& sessionId, Change change) {
    std::lock_guard lock(m_context->Mutex);
    CRefPtr<CSimAudioSession> session = FindSession(sessionId);
    if (!session) return false;
    change(*session);
    return true;
}

// ---- IMMDeviceEnumerator

HRESULT CSimAudio::CreateDeviceEnumerator(CRefPtr<IMMDeviceEnumerator>& enumerator) {
    enumerator = nullptr;
    if (auto failure = m_context->Failures.Enter(L"CreateDeviceEnumerator")) return static_cast<HRESULT>(*failure);
    enumerator = CRefPtr<IMMDeviceEnumerator>(this);
    return S_OK;
}

HRESULT CSimAudio::EnumAudioEndpoints(EDataFlow flow, uint32_t stateMask, CRefPtr<IMMDeviceCollection>& devices) {
    devices = nullptr;
    if (auto failure = m_context->Failures.Enter(L"IMMDeviceEnumerator::EnumAudioEndpoints"))
        return static_cast<HRESULT>(*failure);
    if (!IsEndpointFlow(flow) && flow != eAll) return E_INVALIDARG;
    if (stateMask == 0 || (stateMask & ~DEVICE_STATEMASK_ALL) != 0) return E_INVALIDARG;
    std::vector<CRefPtr<CSimEndpoint>> matching;
    {
        std::lock_guard lock(m_context->Mutex);
        for (const auto& e : m_endpoints)
            if ((flow == eAll || e->m_flow == flow) && (e->m_state & stateMask) != 0) matching.push_back(e);
    }
    devices = MakeRef<CSimDeviceCollection>(m_context, std::move(matching));
    return S_OK;
}

HRESULT CSimAudio::GetDefaultAudioEndpoint(EDataFlow flow, ERole role, CRefPtr<IMMDevice>& endpoint) {
    endpoint = nullptr;
    if (auto failure = m_context->Failures.Enter(L"IMMDeviceEnumerator::GetDefaultAudioEndpoint"))
        return static_cast<HRESULT>(*failure);
    if (!IsEndpointFlow(flow) || !IsRole(role)) return E_INVALIDARG;
    std::lock_guard lock(m_context->Mutex);
    auto chosen = m_defaults.find({flow, role});
    CRefPtr<CSimEndpoint> found = chosen == m_defaults.end() ? nullptr : FindEndpoint(chosen->second);
    if (!found) return E_NOTFOUND;
    endpoint = CRefPtr<IMMDevice>(found.get());
    return S_OK;
}

HRESULT CSimAudio::GetDevice(const std::wstring& id, CRefPtr<IMMDevice>& device) {
    device = nullptr;
    if (auto failure = m_context->Failures.Enter(L"IMMDeviceEnumerator::GetDevice", {id}))
        return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    CRefPtr<CSimEndpoint> found = FindEndpoint(id);
    if (!found) return E_NOTFOUND;
    device = CRefPtr<IMMDevice>(found.get());
    return S_OK;
}

HRESULT CSimAudio::RegisterEndpointNotificationCallback(IMMNotificationClient* client) {
    if (m_journal) m_journal->Record(L"Audio::RegisterEndpointNotificationCallback");
    if (auto failure = m_context->Failures.Enter(L"IMMDeviceEnumerator::RegisterEndpointNotificationCallback"))
        return static_cast<HRESULT>(*failure);
    if (!client) return E_POINTER;
    m_context->EndpointClients.Add(client);
    return S_OK;
}

HRESULT CSimAudio::UnregisterEndpointNotificationCallback(IMMNotificationClient* client) {
    auto failure = m_context->Failures.Enter(L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback");
    if (!client) return failure ? static_cast<HRESULT>(*failure) : E_POINTER;
    bool removed = m_context->EndpointClients.Remove(client);
    if (failure) return static_cast<HRESULT>(*failure);
    return removed ? S_OK : E_NOTFOUND;
}

// ---- Endpoints

bool CSimAudio::AddEndpoint(const std::wstring& id, EDataFlow flow, uint32_t state, const std::wstring& friendlyName) {
    if (id.empty() || !IsEndpointFlow(flow)) return false;
    std::lock_guard lock(m_context->Mutex);
    if (FindEndpoint(id)) return false;
    auto endpoint = MakeRef<CSimEndpoint>(m_context, id, flow, state);
    if (!friendlyName.empty())
        endpoint->m_properties.emplace_back(PKEY_Device_FriendlyName, SimPropertyString(friendlyName));
    m_endpoints.push_back(endpoint);
    m_allEndpoints.push_back(endpoint);
    // Both events come of one change, so both go to the same clients, even
    // when a client registers while the first is being delivered.
    auto clients = m_context->EndpointClients.Snapshot();
    RaiseEndpointEvent([id](IMMNotificationClient* c) { c->OnDeviceAdded(id.c_str()); }, clients);
    RaiseEndpointEvent([id, state](IMMNotificationClient* c) { c->OnDeviceStateChanged(id.c_str(), state); }, clients);
    return true;
}

bool CSimAudio::SetEndpointState(const std::wstring& id, uint32_t state) {
    std::lock_guard lock(m_context->Mutex);
    CRefPtr<CSimEndpoint> endpoint = FindEndpoint(id);
    if (!endpoint) return false;
    endpoint->m_state = state;
    for (const auto& session : endpoint->m_sessions) session->m_endpointActive = state == DEVICE_STATE_ACTIVE;
    RaiseEndpointEvent([id, state](IMMNotificationClient* c) { c->OnDeviceStateChanged(id.c_str(), state); });
    return true;
}

bool CSimAudio::SetDefaultEndpoint(EDataFlow flow, ERole role, const std::wstring& id) {
    if (!IsEndpointFlow(flow) || !IsRole(role)) return false;
    std::lock_guard lock(m_context->Mutex);
    if (id.empty()) {
        m_defaults.erase({flow, role});
        RaiseEndpointEvent([flow, role](IMMNotificationClient* c) { c->OnDefaultDeviceChanged(flow, role, nullptr); });
        return true;
    }
    if (!FindEndpoint(id)) return false;
    m_defaults[{flow, role}] = id;
    RaiseEndpointEvent(
        [flow, role, id](IMMNotificationClient* c) { c->OnDefaultDeviceChanged(flow, role, id.c_str()); });
    return true;
}

bool CSimAudio::SetEndpointProperty(const std::wstring& id, const PROPERTYKEY& key, const PROPVARIANT& value) {
    std::lock_guard lock(m_context->Mutex);
    CRefPtr<CSimEndpoint> endpoint = FindEndpoint(id);
    if (!endpoint) return false;
    auto& properties = endpoint->m_properties;
    std::erase_if(properties, [&](const auto& p) { return p.first == key; });
    if (value.vt != VT_EMPTY) properties.emplace_back(key, value);
    RaiseEndpointEvent([id, key](IMMNotificationClient* c) { c->OnPropertyValueChanged(id.c_str(), key); });
    return true;
}

bool CSimAudio::RemoveEndpoint(const std::wstring& id) {
    std::lock_guard lock(m_context->Mutex);
    CRefPtr<CSimEndpoint> endpoint = FindEndpoint(id);
    if (!endpoint) return false;
    endpoint->m_removed = true;
    for (const auto& session : endpoint->m_sessions) session->m_endpointActive = false;
    std::erase(m_endpoints, endpoint);
    RaiseEndpointEvent([id](IMMNotificationClient* c) { c->OnDeviceRemoved(id.c_str()); });
    return true;
}

// ---- Sessions

std::wstring CSimAudio::AddSession(const std::wstring& endpointId, SimSession wanted) {
    std::lock_guard lock(m_context->Mutex);
    CRefPtr<CSimEndpoint> endpoint = FindEndpoint(endpointId);
    if (!endpoint) return {};
    // Made up in the shape that Windows gives them, unique by the count.
    const std::wstring n = std::to_wstring(++m_sessionCount);
    if (wanted.sessionIdentifier.empty())
        wanted.sessionIdentifier =
            L"{0.0.0.00000000}." + endpointId + L"|sim-session-" + n + L"%b{00000000-0000-0000-0000-000000000000}";
    if (wanted.instanceIdentifier.empty())
        wanted.instanceIdentifier = wanted.sessionIdentifier + L"|" + n + L"%b" + std::to_wstring(wanted.processId);
    if (FindSession(wanted.instanceIdentifier)) return {};

    const bool announce = wanted.announce;
    const bool endpointActive = !endpoint->m_removed && endpoint->m_state == DEVICE_STATE_ACTIVE;
    auto session = MakeRef<CSimAudioSession>(m_context, endpointId, std::move(wanted), endpointActive);
    endpoint->m_sessions.push_back(session);
    m_allSessions.push_back(session);
    if (announce) {
        m_context->Events.Post([endpoint, session, ids = endpoint->m_notifications.Snapshot()] {
            endpoint->m_notifications.Deliver(
                ids, [&](IAudioSessionNotification* n) { n->OnSessionCreated(session.get()); });
        });
    }
    return session->m_instanceId;
}

// Each session event below holds the session, and through it its
// registrations, until it has been delivered.
bool CSimAudio::SetSessionState(const std::wstring& sessionId, AudioSessionState state) {
    return WithSession(sessionId, [&](CSimAudioSession& session) {
        session.m_values.state = state;
        m_context->Events.Post([s = CRefPtr<CSimAudioSession>(&session), ids = session.m_events.Snapshot(), state] {
            s->m_events.Deliver(ids, [&](IAudioSessionEvents* e) { e->OnStateChanged(state); });
        });
    });
}

bool CSimAudio::SetSessionDisplayName(const std::wstring& sessionId, const std::wstring& name) {
    return WithSession(sessionId, [&](CSimAudioSession& session) {
        session.m_values.displayName = name;
        m_context->Events.Post([s = CRefPtr<CSimAudioSession>(&session), ids = session.m_events.Snapshot(), name] {
            s->m_events.Deliver(
                ids, [&](IAudioSessionEvents* e) { e->OnDisplayNameChanged(name.c_str(), &kNoEventContext); });
        });
    });
}

bool CSimAudio::SetSessionIconPath(const std::wstring& sessionId, const std::wstring& path) {
    return WithSession(sessionId, [&](CSimAudioSession& session) {
        session.m_values.iconPath = path;
        m_context->Events.Post([s = CRefPtr<CSimAudioSession>(&session), ids = session.m_events.Snapshot(), path] {
            s->m_events.Deliver(ids,
                                [&](IAudioSessionEvents* e) { e->OnIconPathChanged(path.c_str(), &kNoEventContext); });
        });
    });
}

bool CSimAudio::SetSessionVolume(const std::wstring& sessionId, float volume, bool mute) {
    return WithSession(sessionId, [&](CSimAudioSession& session) {
        m_context->Events.Post(
            [s = CRefPtr<CSimAudioSession>(&session), ids = session.m_events.Snapshot(), volume, mute] {
                s->m_events.Deliver(
                    ids, [&](IAudioSessionEvents* e) { e->OnSimpleVolumeChanged(volume, mute, &kNoEventContext); });
            });
    });
}

bool CSimAudio::SetSessionChannelVolumes(const std::wstring& sessionId, const std::vector<float>& volumes,
                                         uint32_t changedChannel) {
    return WithSession(sessionId, [&](CSimAudioSession& session) {
        m_context->Events.Post(
            [s = CRefPtr<CSimAudioSession>(&session), ids = session.m_events.Snapshot(), volumes, changedChannel] {
                s->m_events.Deliver(ids, [&](IAudioSessionEvents* e) {
                    e->OnChannelVolumeChanged(static_cast<uint32_t>(volumes.size()), volumes.data(), changedChannel,
                                              &kNoEventContext);
                });
            });
    });
}

bool CSimAudio::SetSessionGroupingParam(const std::wstring& sessionId, const GUID& grouping) {
    return WithSession(sessionId, [&](CSimAudioSession& session) {
        session.m_values.groupingParam = grouping;
        m_context->Events.Post([s = CRefPtr<CSimAudioSession>(&session), ids = session.m_events.Snapshot(), grouping] {
            s->m_events.Deliver(ids,
                                [&](IAudioSessionEvents* e) { e->OnGroupingParamChanged(grouping, &kNoEventContext); });
        });
    });
}

bool CSimAudio::DisconnectSession(const std::wstring& sessionId, AudioSessionDisconnectReason reason) {
    return WithSession(sessionId, [&](CSimAudioSession& session) {
        session.m_disconnected = true;
        for (const auto& endpoint : m_allEndpoints)
            std::erase(endpoint->m_sessions, CRefPtr<CSimAudioSession>(&session));
        m_context->Events.Post([s = CRefPtr<CSimAudioSession>(&session), ids = session.m_events.Snapshot(), reason] {
            s->m_events.Deliver(ids, [&](IAudioSessionEvents* e) { e->OnSessionDisconnected(reason); });
        });
    });
}

bool CSimAudio::RemoveSession(const std::wstring& sessionId) {
    return WithSession(sessionId, [&](CSimAudioSession& session) {
        for (const auto& endpoint : m_allEndpoints)
            std::erase(endpoint->m_sessions, CRefPtr<CSimAudioSession>(&session));
    });
}

std::size_t CSimAudio::SessionNotificationCount(const std::wstring& endpointId) {
    CRefPtr<CSimEndpoint> endpoint;
    {
        std::lock_guard lock(m_context->Mutex);
        endpoint = FindEndpoint(endpointId);
    }
    return endpoint ? endpoint->m_notifications.Count() : 0;
}

std::size_t CSimAudio::SessionEventsCount(const std::wstring& sessionId) {
    CRefPtr<CSimAudioSession> session;
    {
        std::lock_guard lock(m_context->Mutex);
        session = FindSession(sessionId);
    }
    return session ? session->m_events.Count() : 0;
}

void CSimAudio::Shutdown() {
    m_context->Events.Stop();
    m_context->EndpointClients.Clear();
    std::vector<CRefPtr<CSimEndpoint>> endpoints;
    std::vector<CRefPtr<CSimAudioSession>> sessions;
    {
        std::lock_guard lock(m_context->Mutex);
        endpoints.swap(m_allEndpoints);
        sessions.swap(m_allSessions);
        m_endpoints.clear();
        m_defaults.clear();
    }
    // The model's notification and events objects go here, outside the lock.
    for (const auto& endpoint : endpoints) endpoint->m_notifications.Clear();
    for (const auto& session : sessions) session->m_events.Clear();
}

}  // namespace qv
