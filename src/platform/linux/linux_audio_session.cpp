#include "platform/linux/linux_audio_session.h"

#include <sys/stat.h>

#include "core/text.h"
#include "platform/codes.h"

namespace qv {

uint32_t CheckedProcessId(const std::string& claimed) {
    uint32_t pid = 0;
    if (!ParseStrictUint32(claimed, pid) || pid == 0) return 0;
    struct stat info {};
    if (::stat(("/proc/" + std::to_string(pid)).c_str(), &info) != 0) return 0;
    return pid;
}

GUID GroupingParamOfClient(uint32_t client) {
    if (client == kNoPulseIndex) return GUID{};
    return GUID{client, 0x7075, 0x6C73, {0x67, 0x65, 0x6E, 0x74, 0x78, 0x63, 0x6C, 0x69}};
}

CLinuxAudioSession::CLinuxAudioSession(CRefPtr<CPulseAudioContext> context, SessionKey key, std::string endpoint)
    : m_context(std::move(context)), m_key(key), m_endpoint(std::move(endpoint)) {
    m_stream.flow = key.flow;
    m_stream.index = key.stream;
    m_stream.device = key.device;
    Refresh();
}

bool CLinuxAudioSession::Refresh(AudioSessionState* state) {
    std::optional<PulseStream> current;
    bool live = m_context->ReadMirror([&](const CPulseMirror& mirror, uint64_t generation, bool connected) {
        if (!connected || generation != m_key.generation) return false;
        const PulseStream* stream = mirror.FindStream(m_key.flow, m_key.stream);
        if (stream && stream->device == m_key.device) current = *stream;
        return true;
    });
    std::lock_guard lock(m_mutex);
    if (current) m_stream = std::move(*current);
    if (live && !current) m_gone = true;
    if (state)
        *state =
            m_gone ? AudioSessionStateExpired : (m_stream.corked ? AudioSessionStateInactive : AudioSessionStateActive);
    return live;
}

HRESULT CLinuxAudioSession::GetState(AudioSessionState& state) {
    if (!Refresh(&state)) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    return S_OK;
}

HRESULT CLinuxAudioSession::GetDisplayName(std::wstring& name) {
    if (!Refresh()) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    std::lock_guard lock(m_mutex);
    name = Utf8ToWide(m_stream.applicationName);
    return S_OK;
}

HRESULT CLinuxAudioSession::GetIconPath(std::wstring& path) {
    if (!Refresh()) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    std::lock_guard lock(m_mutex);
    path = Utf8ToWide(m_stream.iconName);
    return S_OK;
}

HRESULT CLinuxAudioSession::GetGroupingParam(GUID& grouping) {
    if (!Refresh()) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    std::lock_guard lock(m_mutex);
    grouping = GroupingParamOfClient(m_stream.client);
    return S_OK;
}

HRESULT CLinuxAudioSession::RegisterAudioSessionNotification(IAudioSessionEvents* events) {
    if (!events) return E_POINTER;
    if (!Refresh()) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    m_context->EventsOf(m_key)->Add(events);
    return S_OK;
}

HRESULT CLinuxAudioSession::UnregisterAudioSessionNotification(IAudioSessionEvents* events) {
    if (!events) return E_POINTER;
    // Allowed after the loss of the server: the model lets go of its
    // events object this way whatever happened meanwhile.
    const bool removed = m_context->EventsOf(m_key)->Remove(events);
    m_context->ForgetEventsIfEmpty(m_key);
    return removed ? S_OK : E_NOTFOUND;
}

HRESULT CLinuxAudioSession::QueryInterface(CRefPtr<IAudioSessionControl2>& control2) {
    control2 = CRefPtr<IAudioSessionControl2>(this);
    return S_OK;
}

HRESULT CLinuxAudioSession::GetSessionIdentifier(std::wstring& id) {
    uint32_t pid = 0;
    if (HRESULT hr = GetProcessId(pid); hr != S_OK) return hr;
    id = Utf8ToWide(m_endpoint) + L"|pid:" + std::to_wstring(pid);
    return S_OK;
}

HRESULT CLinuxAudioSession::GetSessionInstanceIdentifier(std::wstring& id) {
    std::wstring session;
    if (HRESULT hr = GetSessionIdentifier(session); hr != S_OK) return hr;
    id = session + (m_key.flow == eCapture ? L"|source-output:" : L"|sink-input:") + std::to_wstring(m_key.stream);
    return S_OK;
}

HRESULT CLinuxAudioSession::GetProcessId(uint32_t& processId) {
    if (!Refresh()) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    std::lock_guard lock(m_mutex);
    if (!m_processId) m_processId = CheckedProcessId(m_stream.processId);
    processId = *m_processId;
    return S_OK;
}

HRESULT CLinuxAudioSession::IsSystemSoundsSession() {
    if (!Refresh()) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    std::lock_guard lock(m_mutex);
    return m_stream.role == "event" ? S_OK : S_FALSE;
}

}  // namespace qv
