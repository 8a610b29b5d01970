#include "platform/linux/linux_pulse_mirror.h"

#include <algorithm>

#include "platform/audio.h"
#include "platform/codes.h"
#include "platform/linux/linux_endpoint_properties.h"

namespace qv {

namespace {

constexpr ERole kRoles[] = {eConsole, eMultimedia, eCommunications};

mirror::Session SessionOf(const PulseStream& stream, const std::string& endpoint, uint32_t device) {
    return {stream.flow, endpoint, stream.index, device};
}

const std::string* PresetText(const PulseEndpoint& endpoint, const std::string& key) {
    for (const auto& [name, text] : endpoint.presetTexts)
        if (name == key) return &text;
    return nullptr;
}

bool SameText(const std::string* a, const std::string* b) {
    if (!a || !b) return a == b;
    return *a == *b;
}

AudioSessionState StateOf(const PulseStream& stream) {
    return stream.corked ? AudioSessionStateInactive : AudioSessionStateActive;
}

}  // namespace

float AverageVolume(const std::vector<float>& channels) {
    if (channels.empty()) return 1.0f;
    float sum = 0.0f;
    for (float v : channels) sum += v;
    return sum / static_cast<float>(channels.size());
}

PulseEndpoint* CPulseMirror::FindByIndex(EDataFlow flow, uint32_t index) {
    for (PulseEndpoint& e : m_endpoints)
        if (e.present && e.flow == flow && e.index == index) return &e;
    return nullptr;
}

PulseEndpoint* CPulseMirror::FindByName(EDataFlow flow, const std::string& name) {
    for (PulseEndpoint& e : m_endpoints)
        if (e.flow == flow && e.name == name) return &e;
    return nullptr;
}

const PulseEndpoint* CPulseMirror::FindEndpoint(EDataFlow flow, const std::string& name) const {
    return const_cast<CPulseMirror*>(this)->FindByName(flow, name);
}

const PulseEndpoint* CPulseMirror::FindPresentEndpoint(EDataFlow flow, uint32_t index) const {
    return const_cast<CPulseMirror*>(this)->FindByIndex(flow, index);
}

const PulseStream* CPulseMirror::FindStream(EDataFlow flow, uint32_t index) const {
    for (const PulseStream& s : m_streams)
        if (s.flow == flow && s.index == index) return &s;
    return nullptr;
}

std::string CPulseMirror::EndpointNameOf(EDataFlow flow, uint32_t device) const {
    if (device == kNoPulseIndex) return {};
    const PulseEndpoint* endpoint = FindPresentEndpoint(flow, device);
    return endpoint ? endpoint->name : std::string();
}

std::vector<PulseStream> CPulseMirror::StreamsOf(EDataFlow flow, const std::string& name) const {
    std::vector<PulseStream> streams;
    const PulseEndpoint* endpoint = FindEndpoint(flow, name);
    if (!endpoint || !endpoint->present) return streams;
    for (const PulseStream& s : m_streams)
        if (s.flow == flow && s.device == endpoint->index) streams.push_back(s);
    return streams;
}

std::string CPulseMirror::DefaultEndpoint(EDataFlow flow) const {
    const std::string& name = m_serverDefault[flow == eCapture ? 1 : 0];
    const PulseEndpoint* endpoint = FindEndpoint(flow, name);
    return endpoint && endpoint->present ? name : std::string();
}

void CPulseMirror::UpdateDefaults(MirrorEvents& events) {
    for (EDataFlow flow : {eRender, eCapture}) {
        std::string current = DefaultEndpoint(flow);
        std::string& announced = m_announcedDefault[flow == eCapture ? 1 : 0];
        if (current == announced) continue;
        announced = current;
        for (ERole role : kRoles) events.push_back(mirror::DefaultDeviceChanged{{flow, current}, role});
    }
}

void CPulseMirror::UpsertEndpoint(PulseEndpoint endpoint, MirrorEvents& events) {
    endpoint.present = true;
    endpoint.awaitingServer = false;
    PulseEndpoint* known = FindByIndex(endpoint.flow, endpoint.index);
    if (!known) known = FindByName(endpoint.flow, endpoint.name);
    const bool returning = known && known->awaitingServer;
    if (!known || (!known->present && !returning)) {
        if (known)
            *known = endpoint;
        else
            m_endpoints.push_back(endpoint);
        events.push_back(mirror::DeviceAdded{{endpoint.flow, endpoint.name}});
        events.push_back(mirror::DeviceStateChanged{{endpoint.flow, endpoint.name}, endpoint.state});
        UpdateDefaults(events);
        return;
    }
    PulseEndpoint before = std::move(*known);
    *known = endpoint;
    const mirror::Endpoint id{endpoint.flow, endpoint.name};
    if (before.state != endpoint.state) events.push_back(mirror::DeviceStateChanged{id, endpoint.state});
    if (before.description != endpoint.description)
        events.push_back(mirror::PropertyValueChanged{id, PKEY_Device_FriendlyName});
    for (const EndpointPresetKey& preset : kEndpointPresetKeys)
        if (!SameText(PresetText(before, preset.proplistKey), PresetText(endpoint, preset.proplistKey)))
            events.push_back(mirror::PropertyValueChanged{id, preset.key});
    // The returned server's default may name it.
    if (returning) UpdateDefaults(events);
}

void CPulseMirror::RemoveEndpoint(EDataFlow flow, uint32_t index, MirrorEvents& events) {
    PulseEndpoint* known = FindByIndex(flow, index);
    if (!known) return;
    known->present = false;
    known->index = kNoPulseIndex;
    const std::string name = known->name;
    events.push_back(mirror::DeviceStateChanged{{flow, name}, DEVICE_STATE_NOTPRESENT});
    events.push_back(mirror::DeviceRemoved{{flow, name}});
    UpdateDefaults(events);
}

void CPulseMirror::SetServerDefaults(const std::string& sink, const std::string& source, MirrorEvents& events) {
    m_serverDefault[0] = sink;
    m_serverDefault[1] = source;
    UpdateDefaults(events);
}

void CPulseMirror::UpsertStream(PulseStream stream, MirrorEvents& events) {
    auto known = std::find_if(m_streams.begin(), m_streams.end(),
                              [&](const PulseStream& s) { return s.flow == stream.flow && s.index == stream.index; });
    const std::string newEndpoint = EndpointNameOf(stream.flow, stream.device);
    if (known == m_streams.end()) {
        if (!newEndpoint.empty())
            events.push_back(mirror::SessionCreated{SessionOf(stream, newEndpoint, stream.device)});
        m_streams.push_back(std::move(stream));
        return;
    }
    PulseStream before = std::move(*known);
    *known = stream;
    const std::string oldEndpoint = EndpointNameOf(before.flow, before.device);
    const bool sameEndpoint = !oldEndpoint.empty() && before.device == stream.device;
    if (!sameEndpoint) {
        if (!oldEndpoint.empty())
            events.push_back(mirror::SessionDisconnected{SessionOf(before, oldEndpoint, before.device),
                                                         DisconnectReasonDeviceRemoval});
        if (!newEndpoint.empty())
            events.push_back(mirror::SessionCreated{SessionOf(stream, newEndpoint, stream.device)});
        return;
    }
    const mirror::Session session = SessionOf(stream, newEndpoint, stream.device);
    if (before.corked != stream.corked) events.push_back(mirror::SessionStateChanged{session, StateOf(stream)});
    if (before.applicationName != stream.applicationName)
        events.push_back(mirror::SessionDisplayNameChanged{session, stream.applicationName});
    if (before.iconName != stream.iconName) events.push_back(mirror::SessionIconPathChanged{session, stream.iconName});
    const float volume = AverageVolume(stream.channelVolumes);
    if (before.muted != stream.muted || AverageVolume(before.channelVolumes) != volume)
        events.push_back(mirror::SessionSimpleVolumeChanged{session, volume, stream.muted});
    if (before.channelVolumes != stream.channelVolumes) {
        mirror::SessionChannelVolumeChanged e{session, stream.channelVolumes};
        // The one channel that changed, or all of them.
        if (before.channelVolumes.size() == stream.channelVolumes.size()) {
            uint32_t changed = 0;
            for (std::size_t i = 0; i < stream.channelVolumes.size(); ++i) {
                if (before.channelVolumes[i] == stream.channelVolumes[i]) continue;
                e.changedChannel = changed == 0 ? static_cast<uint32_t>(i) : 0xFFFFFFFFu;
                ++changed;
            }
        }
        events.push_back(std::move(e));
    }
}

void CPulseMirror::RemoveStream(EDataFlow flow, uint32_t index, MirrorEvents& events) {
    auto known = std::find_if(m_streams.begin(), m_streams.end(),
                              [&](const PulseStream& s) { return s.flow == flow && s.index == index; });
    if (known == m_streams.end()) return;
    const std::string endpoint = EndpointNameOf(known->flow, known->device);
    if (!endpoint.empty())
        events.push_back(
            mirror::SessionStateChanged{SessionOf(*known, endpoint, known->device), AudioSessionStateExpired});
    m_streams.erase(known);
}

void CPulseMirror::LoseServer(MirrorEvents& events) {
    for (const PulseStream& s : m_streams) {
        const std::string endpoint = EndpointNameOf(s.flow, s.device);
        if (endpoint.empty()) continue;
        events.push_back(mirror::SessionDisconnected{SessionOf(s, endpoint, s.device), DisconnectReasonServerShutdown});
    }
    m_streams.clear();
    for (PulseEndpoint& endpoint : m_endpoints) {
        if (!endpoint.present) continue;
        endpoint.present = false;
        endpoint.awaitingServer = true;
        endpoint.index = kNoPulseIndex;
    }
    m_serverDefault[0].clear();
    m_serverDefault[1].clear();
    UpdateDefaults(events);
}

void CPulseMirror::ForgetAwaitedEndpoints(MirrorEvents& events) {
    for (PulseEndpoint& endpoint : m_endpoints) {
        if (!endpoint.awaitingServer) continue;
        endpoint.awaitingServer = false;
        events.push_back(mirror::DeviceStateChanged{{endpoint.flow, endpoint.name}, DEVICE_STATE_NOTPRESENT});
        events.push_back(mirror::DeviceRemoved{{endpoint.flow, endpoint.name}});
    }
}

bool CPulseMirror::AwaitsEndpoints() const {
    for (const PulseEndpoint& endpoint : m_endpoints)
        if (endpoint.awaitingServer) return true;
    return false;
}

}  // namespace qv
