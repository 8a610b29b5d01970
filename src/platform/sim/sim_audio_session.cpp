#include "platform/sim/sim_audio_session.h"

#include "platform/codes.h"

namespace qv {

CSimAudioSession::CSimAudioSession(CRefPtr<CSimAudioContext> context, std::wstring endpointId, SimSession wanted,
                                   bool endpointActive)
    : m_context(std::move(context)),
      m_endpointId(std::move(endpointId)),
      m_instanceId(wanted.instanceIdentifier),
      m_values(std::move(wanted)),
      m_endpointActive(endpointActive) {}

std::optional<uint32_t> CSimAudioSession::Enter(const wchar_t* operation) {
    return m_context->Failures.Enter(operation, {m_instanceId, m_endpointId});
}

HRESULT CSimAudioSession::GetState(AudioSessionState& state) {
    if (auto failure = Enter(L"IAudioSessionControl::GetState")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    state = m_values.state;
    return S_OK;
}

HRESULT CSimAudioSession::GetDisplayName(std::wstring& name) {
    if (auto failure = Enter(L"IAudioSessionControl::GetDisplayName")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    name = m_values.displayName;
    return S_OK;
}

HRESULT CSimAudioSession::GetIconPath(std::wstring& path) {
    if (auto failure = Enter(L"IAudioSessionControl::GetIconPath")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    path = m_values.iconPath;
    return S_OK;
}

HRESULT CSimAudioSession::GetGroupingParam(GUID& grouping) {
    if (auto failure = Enter(L"IAudioSessionControl::GetGroupingParam")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    grouping = m_values.groupingParam;
    return S_OK;
}

HRESULT CSimAudioSession::RegisterAudioSessionNotification(IAudioSessionEvents* events) {
    if (auto failure = Enter(L"IAudioSessionControl::RegisterAudioSessionNotification"))
        return static_cast<HRESULT>(*failure);
    if (!events) return E_POINTER;
    {
        std::lock_guard lock(m_context->Mutex);
        if (m_disconnected || !m_endpointActive) return AUDCLNT_E_DEVICE_INVALIDATED;
    }
    m_events.Add(events);
    return S_OK;
}

HRESULT CSimAudioSession::UnregisterAudioSessionNotification(IAudioSessionEvents* events) {
    // A failure leaves the registration, and its reference, in place, as
    // the platform would: the object is kept alive, so nothing dangles.
    if (auto failure = Enter(L"IAudioSessionControl::UnregisterAudioSessionNotification"))
        return static_cast<HRESULT>(*failure);
    if (!events) return E_POINTER;
    return m_events.Remove(events) ? S_OK : E_NOTFOUND;
}

HRESULT CSimAudioSession::QueryInterface(CRefPtr<IAudioSessionControl2>& control2) {
    control2 = nullptr;
    if (auto failure = Enter(L"IAudioSessionControl::QueryInterface")) return static_cast<HRESULT>(*failure);
    control2 = CRefPtr<IAudioSessionControl2>(this);
    return S_OK;
}

HRESULT CSimAudioSession::GetSessionIdentifier(std::wstring& id) {
    if (auto failure = Enter(L"IAudioSessionControl2::GetSessionIdentifier")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    id = m_values.sessionIdentifier;
    return S_OK;
}

HRESULT CSimAudioSession::GetSessionInstanceIdentifier(std::wstring& id) {
    if (auto failure = Enter(L"IAudioSessionControl2::GetSessionInstanceIdentifier"))
        return static_cast<HRESULT>(*failure);
    id = m_instanceId;
    return S_OK;
}

HRESULT CSimAudioSession::GetProcessId(uint32_t& processId) {
    if (auto failure = Enter(L"IAudioSessionControl2::GetProcessId")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    processId = m_values.processId;
    return S_OK;
}

HRESULT CSimAudioSession::IsSystemSoundsSession() {
    if (auto failure = Enter(L"IAudioSessionControl2::IsSystemSoundsSession")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    return m_values.isSystemSounds ? S_OK : S_FALSE;
}

}  // namespace qv
