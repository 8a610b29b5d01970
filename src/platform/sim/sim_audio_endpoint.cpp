#include "platform/sim/sim_audio_endpoint.h"

#include <algorithm>

#include "platform/codes.h"

namespace qv {

CSimEndpoint::CSimEndpoint(CRefPtr<CSimAudioContext> context, std::wstring id, EDataFlow flow, uint32_t state)
    : m_context(std::move(context)), m_id(std::move(id)), m_flow(flow), m_state(state) {}

HRESULT CSimEndpoint::Activate(const GUID& iid, uint32_t clsCtx, CRefPtr<IAudioSessionManager2>& manager) {
    manager = nullptr;
    if (auto failure = Enter(L"IMMDevice::Activate")) return static_cast<HRESULT>(*failure);
    if (iid != IID_IAudioSessionManager2) return E_NOINTERFACE;
    {
        std::lock_guard lock(m_context->Mutex);
        if (m_removed || m_state != DEVICE_STATE_ACTIVE) return AUDCLNT_E_DEVICE_INVALIDATED;
    }
    manager = CRefPtr<IAudioSessionManager2>(this);
    return S_OK;
}

HRESULT CSimEndpoint::OpenPropertyStore(uint32_t access, CRefPtr<IPropertyStore>& store) {
    store = nullptr;
    if (auto failure = Enter(L"IMMDevice::OpenPropertyStore")) return static_cast<HRESULT>(*failure);
    store = CRefPtr<IPropertyStore>(this);
    return S_OK;
}

HRESULT CSimEndpoint::GetId(std::wstring& id) {
    if (auto failure = Enter(L"IMMDevice::GetId")) return static_cast<HRESULT>(*failure);
    id = m_id;
    return S_OK;
}

HRESULT CSimEndpoint::GetState(uint32_t& state) {
    if (auto failure = Enter(L"IMMDevice::GetState")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    state = m_removed ? DEVICE_STATE_NOTPRESENT : m_state;
    return S_OK;
}

HRESULT CSimEndpoint::QueryInterface(CRefPtr<IMMEndpoint>& endpoint) {
    endpoint = nullptr;
    if (auto failure = Enter(L"IMMDevice::QueryInterface")) return static_cast<HRESULT>(*failure);
    endpoint = CRefPtr<IMMEndpoint>(this);
    return S_OK;
}

HRESULT CSimEndpoint::GetDataFlow(EDataFlow& flow) {
    if (auto failure = Enter(L"IMMEndpoint::GetDataFlow")) return static_cast<HRESULT>(*failure);
    flow = m_flow;
    return S_OK;
}

HRESULT CSimEndpoint::GetValue(const PROPERTYKEY& key, PROPVARIANT& value) {
    value = PROPVARIANT{};
    if (auto failure = Enter(L"IPropertyStore::GetValue")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    auto found = std::find_if(m_properties.begin(), m_properties.end(), [&](const auto& p) { return p.first == key; });
    // A value that was never written is no failure: it reads as VT_EMPTY.
    if (found != m_properties.end()) value = found->second;
    return S_OK;
}

HRESULT CSimEndpoint::GetSessionEnumerator(CRefPtr<IAudioSessionEnumerator>& enumerator) {
    enumerator = nullptr;
    if (auto failure = Enter(L"IAudioSessionManager2::GetSessionEnumerator")) return static_cast<HRESULT>(*failure);
    std::lock_guard lock(m_context->Mutex);
    enumerator = MakeRef<CSimSessionEnumerator>(m_context, m_id, m_sessions);
    return S_OK;
}

HRESULT CSimEndpoint::RegisterSessionNotification(IAudioSessionNotification* notification) {
    if (auto failure = Enter(L"IAudioSessionManager2::RegisterSessionNotification"))
        return static_cast<HRESULT>(*failure);
    if (!notification) return E_POINTER;
    m_notifications.Add(notification);
    return S_OK;
}

HRESULT CSimEndpoint::UnregisterSessionNotification(IAudioSessionNotification* notification) {
    // A failure leaves the registration and its reference in place.
    if (auto failure = Enter(L"IAudioSessionManager2::UnregisterSessionNotification"))
        return static_cast<HRESULT>(*failure);
    if (!notification) return E_POINTER;
    return m_notifications.Remove(notification) ? S_OK : E_NOTFOUND;
}

HRESULT CSimDeviceCollection::GetCount(uint32_t& count) {
    if (auto failure = m_context->Failures.Enter(L"IMMDeviceCollection::GetCount"))
        return static_cast<HRESULT>(*failure);
    count = static_cast<uint32_t>(m_endpoints.size());
    return S_OK;
}

HRESULT CSimDeviceCollection::Item(uint32_t index, CRefPtr<IMMDevice>& device) {
    device = nullptr;
    std::wstring_view target = index < m_endpoints.size() ? std::wstring_view(m_endpoints[index]->Id()) : L"";
    if (auto failure = m_context->Failures.Enter(L"IMMDeviceCollection::Item", {target}))
        return static_cast<HRESULT>(*failure);
    if (index >= m_endpoints.size()) return E_INVALIDARG;
    device = CRefPtr<IMMDevice>(m_endpoints[index].get());
    return S_OK;
}

HRESULT CSimSessionEnumerator::GetCount(int32_t& count) {
    if (auto failure = m_context->Failures.Enter(L"IAudioSessionEnumerator::GetCount", {m_endpointId}))
        return static_cast<HRESULT>(*failure);
    count = static_cast<int32_t>(m_sessions.size());
    return S_OK;
}

HRESULT CSimSessionEnumerator::GetSession(int32_t index, CRefPtr<IAudioSessionControl>& session) {
    session = nullptr;
    bool inRange = index >= 0 && static_cast<std::size_t>(index) < m_sessions.size();
    std::wstring_view target =
        inRange ? std::wstring_view(m_sessions[static_cast<std::size_t>(index)]->InstanceId()) : L"";
    if (auto failure = m_context->Failures.Enter(L"IAudioSessionEnumerator::GetSession", {target, m_endpointId}))
        return static_cast<HRESULT>(*failure);
    if (!inRange) return E_INVALIDARG;
    session = CRefPtr<IAudioSessionControl>(m_sessions[static_cast<std::size_t>(index)].get());
    return S_OK;
}

}  // namespace qv
