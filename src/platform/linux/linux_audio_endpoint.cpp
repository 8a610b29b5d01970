#include "platform/linux/linux_audio_endpoint.h"

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_audio_session.h"

namespace qv {

CLinuxAudioEndpoint::CLinuxAudioEndpoint(CRefPtr<CPulseAudioContext> context, EDataFlow flow, std::string name)
    : m_context(std::move(context)), m_flow(flow), m_name(std::move(name)) {}

HRESULT CLinuxAudioEndpoint::Activate(const GUID& iid, uint32_t, CRefPtr<IAudioSessionManager2>& manager) {
    manager = nullptr;
    if (iid != IID_IAudioSessionManager2) return E_NOINTERFACE;
    if (HRESULT hr = m_context->EnsureConnected(); hr != S_OK) return hr;
    const bool present = m_context->ReadMirror([&](const CPulseMirror& mirror, uint64_t, bool) {
        const PulseEndpoint* endpoint = mirror.FindEndpoint(m_flow, m_name);
        return endpoint && endpoint->present;
    });
    if (!present) return AUDCLNT_E_DEVICE_INVALIDATED;
    manager = CRefPtr<IAudioSessionManager2>(this);
    return S_OK;
}

HRESULT CLinuxAudioEndpoint::OpenPropertyStore(uint32_t, CRefPtr<IPropertyStore>& store) {
    store = CRefPtr<IPropertyStore>(this);
    return S_OK;
}

HRESULT CLinuxAudioEndpoint::GetId(std::wstring& id) {
    id = Utf8ToWide(m_name);
    return S_OK;
}

HRESULT CLinuxAudioEndpoint::GetState(uint32_t& state) {
    if (HRESULT hr = m_context->EnsureConnected(); hr != S_OK) return hr;
    state = m_context->ReadMirror([&](const CPulseMirror& mirror, uint64_t, bool) {
        const PulseEndpoint* endpoint = mirror.FindEndpoint(m_flow, m_name);
        return endpoint && endpoint->present ? endpoint->state : DEVICE_STATE_NOTPRESENT;
    });
    return S_OK;
}

HRESULT CLinuxAudioEndpoint::QueryInterface(CRefPtr<IMMEndpoint>& endpoint) {
    endpoint = CRefPtr<IMMEndpoint>(this);
    return S_OK;
}

HRESULT CLinuxAudioEndpoint::GetDataFlow(EDataFlow& flow) {
    flow = m_flow;
    return S_OK;
}

HRESULT CLinuxAudioEndpoint::GetValue(const PROPERTYKEY& key, PROPVARIANT& value) {
    value = PROPVARIANT{};
    if (HRESULT hr = m_context->EnsureConnected(); hr != S_OK) return hr;
    const EndpointPresetKey* preset = FindPresetKey(key);
    if (key != PKEY_Device_FriendlyName && !preset) return S_OK;
    std::optional<std::string> text = m_context->ReadMirror([&](const CPulseMirror& mirror, uint64_t, bool) {
        std::optional<std::string> found;
        const PulseEndpoint* endpoint = mirror.FindEndpoint(m_flow, m_name);
        if (!endpoint) return found;
        if (!preset) return std::optional<std::string>(endpoint->description);
        for (const auto& [name, text] : endpoint->presetTexts)
            if (name == preset->proplistKey) found = text;
        return found;
    });
    if (!preset) {
        if (text) {
            value.vt = VT_LPWSTR;
            value.pwszVal = Utf8ToWide(*text);
        }
        return S_OK;
    }
    // The device's own proplist first, then the configuration file.
    if (!text) text = m_context->PropertyFile().Lookup(m_name, preset->proplistKey);
    if (text) value = PresetValueFromText(*text, preset->numeric);
    return S_OK;
}

HRESULT CLinuxAudioEndpoint::GetSessionEnumerator(CRefPtr<IAudioSessionEnumerator>& enumerator) {
    enumerator = nullptr;
    if (HRESULT hr = m_context->Synchronize(); hr != S_OK) return hr;
    std::vector<SessionKey> keys;
    const bool present = m_context->ReadMirror([&](const CPulseMirror& mirror, uint64_t generation, bool) {
        const PulseEndpoint* endpoint = mirror.FindEndpoint(m_flow, m_name);
        if (!endpoint || !endpoint->present) return false;
        for (const PulseStream& stream : mirror.StreamsOf(m_flow, m_name))
            keys.push_back(SessionKey{generation, m_flow, stream.index, stream.device});
        return true;
    });
    if (!present) return AUDCLNT_E_DEVICE_INVALIDATED;
    std::vector<CRefPtr<IAudioSessionControl>> sessions;
    for (const SessionKey& key : keys) sessions.push_back(MakeRef<CLinuxAudioSession>(m_context, key, m_name));
    enumerator = MakeRef<CLinuxSessionEnumerator>(std::move(sessions));
    return S_OK;
}

HRESULT CLinuxAudioEndpoint::RegisterSessionNotification(IAudioSessionNotification* notification) {
    if (!notification) return E_POINTER;
    m_context->NotificationsOf(m_flow, m_name)->Add(notification);
    return S_OK;
}

HRESULT CLinuxAudioEndpoint::UnregisterSessionNotification(IAudioSessionNotification* notification) {
    if (!notification) return E_POINTER;
    return m_context->NotificationsOf(m_flow, m_name)->Remove(notification) ? S_OK : E_NOTFOUND;
}

HRESULT CLinuxSessionEnumerator::GetCount(int32_t& count) {
    count = static_cast<int32_t>(m_sessions.size());
    return S_OK;
}

HRESULT CLinuxSessionEnumerator::GetSession(int32_t index, CRefPtr<IAudioSessionControl>& session) {
    session = nullptr;
    if (index < 0 || static_cast<std::size_t>(index) >= m_sessions.size()) return E_INVALIDARG;
    session = m_sessions[static_cast<std::size_t>(index)];
    return S_OK;
}

}  // namespace qv
