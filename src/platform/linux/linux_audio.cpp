#include "platform/linux/linux_audio.h"

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_audio_endpoint.h"
#include "platform/linux/linux_endpoint_properties.h"

namespace qv {

namespace {
bool IsRole(ERole role) { return role == eConsole || role == eMultimedia || role == eCommunications; }
}  // namespace

CLinuxAudioEnumerator::CLinuxAudioEnumerator() : m_context(CPulseAudioContext::Create()) {}

HRESULT CLinuxAudioEnumerator::EnumAudioEndpoints(EDataFlow flow, uint32_t stateMask,
                                                  CRefPtr<IMMDeviceCollection>& devices) {
    devices = nullptr;
    if (flow != eRender && flow != eCapture && flow != eAll) return E_INVALIDARG;
    if (stateMask == 0 || (stateMask & ~DEVICE_STATEMASK_ALL) != 0) return E_INVALIDARG;
    if (HRESULT hr = m_context->Synchronize(); hr != S_OK) return hr;
    std::vector<std::pair<EDataFlow, std::string>> matching;
    m_context->ReadMirror([&](const CPulseMirror& mirror, uint64_t, bool) {
        for (const PulseEndpoint& endpoint : mirror.Endpoints()) {
            const uint32_t state = endpoint.present ? endpoint.state : DEVICE_STATE_NOTPRESENT;
            if ((flow == eAll || endpoint.flow == flow) && (state & stateMask) != 0)
                matching.emplace_back(endpoint.flow, endpoint.name);
        }
        return 0;
    });
    std::vector<CRefPtr<IMMDevice>> found;
    for (auto& [endpointFlow, name] : matching)
        found.push_back(MakeRef<CLinuxAudioEndpoint>(m_context, endpointFlow, std::move(name)));
    devices = MakeRef<CLinuxDeviceCollection>(std::move(found));
    return S_OK;
}

HRESULT CLinuxAudioEnumerator::GetDefaultAudioEndpoint(EDataFlow flow, ERole role, CRefPtr<IMMDevice>& endpoint) {
    endpoint = nullptr;
    if ((flow != eRender && flow != eCapture) || !IsRole(role)) return E_INVALIDARG;
    if (HRESULT hr = m_context->Synchronize(); hr != S_OK) return hr;
    std::string name =
        m_context->ReadMirror([&](const CPulseMirror& mirror, uint64_t, bool) { return mirror.DefaultEndpoint(flow); });
    if (name.empty()) return E_NOTFOUND;
    endpoint = MakeRef<CLinuxAudioEndpoint>(m_context, flow, std::move(name));
    return S_OK;
}

HRESULT CLinuxAudioEnumerator::GetDevice(const std::wstring& id, CRefPtr<IMMDevice>& device) {
    device = nullptr;
    if (HRESULT hr = m_context->Synchronize(); hr != S_OK) return hr;
    const std::string wanted = WideToUtf8(id);
    uint32_t sinkIndex = kNoPulseIndex;
    const bool byIndex = ParseStrictUint32(wanted, sinkIndex);
    std::optional<std::pair<EDataFlow, std::string>> found =
        m_context->ReadMirror([&](const CPulseMirror& mirror, uint64_t, bool) {
            std::optional<std::pair<EDataFlow, std::string>> result;
            for (EDataFlow flow : {eRender, eCapture})
                if (!result && mirror.FindEndpoint(flow, wanted)) result.emplace(flow, wanted);
            if (!result && byIndex)
                if (const PulseEndpoint* sink = mirror.FindPresentEndpoint(eRender, sinkIndex))
                    result.emplace(eRender, sink->name);
            return result;
        });
    if (!found) return E_NOTFOUND;
    device = MakeRef<CLinuxAudioEndpoint>(m_context, found->first, std::move(found->second));
    return S_OK;
}

HRESULT CLinuxAudioEnumerator::RegisterEndpointNotificationCallback(IMMNotificationClient* client) {
    if (!client) return E_POINTER;
    m_context->EndpointClientList().Add(client);
    return S_OK;
}

HRESULT CLinuxAudioEnumerator::UnregisterEndpointNotificationCallback(IMMNotificationClient* client) {
    if (!client) return E_POINTER;
    return m_context->EndpointClientList().Remove(client) ? S_OK : E_NOTFOUND;
}

HRESULT CLinuxDeviceCollection::GetCount(uint32_t& count) {
    count = static_cast<uint32_t>(m_devices.size());
    return S_OK;
}

HRESULT CLinuxDeviceCollection::Item(uint32_t index, CRefPtr<IMMDevice>& device) {
    device = nullptr;
    if (index >= m_devices.size()) return E_INVALIDARG;
    device = m_devices[index];
    return S_OK;
}

}  // namespace qv
