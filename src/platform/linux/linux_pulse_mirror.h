// What the audio port knows of the sound server: its endpoints (sinks, and
// sources that are not monitors), its streams, and its defaults, as the
// last answers of the server had them. Every change comes in as a whole
// record, and comes out as the endpoint and session events that it makes,
// in the order the model expects them. No libpulse here: the sound server's
// side is linux_pulse_context.h, and this part can be tested on its own.
//
// Rules:
// - A new endpoint, or one that comes back under a name seen before, is
//   added, then has its state. A state or port change is a state change.
//   A change of description or of one of the four preset values is a
//   property change of that key. A removed endpoint turns not present,
//   then is removed; it stays known by name (not present), so that the
//   model's objects for it keep answering.
// - The default of a flow is the server's default sink or source when that
//   is an endpoint, else there is none (a monitor as the default source is
//   no capture endpoint). A change of it goes out for every role.
// - A stream is a session of the endpoint that it is linked to; one that
//   has no device yet (PipeWire shows new streams unlinked and corked
//   first) belongs to none. It is created at an endpoint when it is first
//   linked there. Moved to another endpoint, it is disconnected (device
//   removal) at the old one and created at the new one. Corked is
//   inactive, running is active, removed is expired.
// - Losing the server: every stream is disconnected (server shutdown) and
//   the defaults go, but the endpoints are kept as they were, awaiting the
//   server, and nothing is said of them: a restart of the sound server is no
//   new device, and a turn to active after not present is one for the
//   model. An awaited endpoint that comes back (by name) is compared with
//   what it was, as any update is. One that the returned server does not
//   show before ForgetAwaitedEndpoints turns not present, then is removed.
//   Until the server returns the model keeps its endpoints, whose calls
//   fail meanwhile, as they do on Windows while its audio service restarts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/types.h"

namespace qv {

inline constexpr uint32_t kNoPulseIndex = 0xFFFFFFFFu;  // PA_INVALID_INDEX

struct PulseEndpoint {
    EDataFlow flow = eRender;
    uint32_t index = kNoPulseIndex;
    std::string name;
    std::string description;
    uint32_t state = 0x1;  // DEVICE_STATE_ACTIVE or DEVICE_STATE_UNPLUGGED while present
    // The preset keys the proplist has, by proplist key.
    std::vector<std::pair<std::string, std::string>> presetTexts;
    bool present = true;
    bool awaitingServer = false;  // lost with the server, not seen since
};

struct PulseStream {
    EDataFlow flow = eRender;  // eRender: a sink input; eCapture: a source output
    uint32_t index = kNoPulseIndex;
    uint32_t device = kNoPulseIndex;  // the sink or source it is linked to
    uint32_t client = kNoPulseIndex;
    bool corked = false;
    std::string applicationName;
    std::string iconName;
    std::string role;
    std::string processId;              // application.process.id as the client claims it
    std::vector<float> channelVolumes;  // 0..1 each
    bool muted = false;
};

// The events, one type per kind, each with what its callback is told.
namespace mirror {

// An endpoint event names the endpoint by its id (the sink's or source's
// name) and flow.
struct Endpoint {
    EDataFlow flow = eRender;
    std::string id;
};
struct DeviceAdded {
    Endpoint endpoint;
};
struct DeviceStateChanged {
    Endpoint endpoint;
    uint32_t state = 0;  // DEVICE_STATE_*
};
struct DeviceRemoved {
    Endpoint endpoint;
};
struct DefaultDeviceChanged {
    Endpoint endpoint;  // an empty id: the flow has no default any more
    ERole role = eConsole;
};
struct PropertyValueChanged {
    Endpoint endpoint;
    PROPERTYKEY key{};
};

// A session is a stream on an endpoint, linked to the server's device of
// that endpoint.
struct Session {
    EDataFlow flow = eRender;
    std::string endpoint;
    uint32_t stream = kNoPulseIndex;
    uint32_t device = kNoPulseIndex;
};
struct SessionCreated {
    Session session;
};
struct SessionStateChanged {
    Session session;
    AudioSessionState state = AudioSessionStateInactive;
};
struct SessionDisplayNameChanged {
    Session session;
    std::string name;
};
struct SessionIconPathChanged {
    Session session;
    std::string path;
};
struct SessionSimpleVolumeChanged {
    Session session;
    float volume = 1.0f;
    bool muted = false;
};
struct SessionChannelVolumeChanged {
    Session session;
    std::vector<float> volumes;
    uint32_t changedChannel = 0xFFFFFFFFu;  // the one that changed, or all of them
};
struct SessionDisconnected {
    Session session;
    AudioSessionDisconnectReason reason = DisconnectReasonDeviceRemoval;
};

}  // namespace mirror

using MirrorEvent =
    std::variant<mirror::DeviceAdded, mirror::DeviceStateChanged, mirror::DeviceRemoved, mirror::DefaultDeviceChanged,
                 mirror::PropertyValueChanged, mirror::SessionCreated, mirror::SessionStateChanged,
                 mirror::SessionDisplayNameChanged, mirror::SessionIconPathChanged, mirror::SessionSimpleVolumeChanged,
                 mirror::SessionChannelVolumeChanged, mirror::SessionDisconnected>;

using MirrorEvents = std::vector<MirrorEvent>;

// The average of the channels, the simple volume of a session.
float AverageVolume(const std::vector<float>& channels);

class CPulseMirror {
public:
    void UpsertEndpoint(PulseEndpoint endpoint, MirrorEvents& events);
    void RemoveEndpoint(EDataFlow flow, uint32_t index, MirrorEvents& events);
    void SetServerDefaults(const std::string& sink, const std::string& source, MirrorEvents& events);
    void UpsertStream(PulseStream stream, MirrorEvents& events);
    void RemoveStream(EDataFlow flow, uint32_t index, MirrorEvents& events);
    void LoseServer(MirrorEvents& events);
    void ForgetAwaitedEndpoints(MirrorEvents& events);
    bool AwaitsEndpoints() const;

    // Queries. Endpoints present and not, in the order they became known.
    const std::vector<PulseEndpoint>& Endpoints() const { return m_endpoints; }
    const PulseEndpoint* FindEndpoint(EDataFlow flow, const std::string& name) const;
    const PulseEndpoint* FindPresentEndpoint(EDataFlow flow, uint32_t index) const;
    const PulseStream* FindStream(EDataFlow flow, uint32_t index) const;
    // The streams linked to the present endpoint, in the order they came.
    std::vector<PulseStream> StreamsOf(EDataFlow flow, const std::string& name) const;
    // The default endpoint's name, empty if none.
    std::string DefaultEndpoint(EDataFlow flow) const;

private:
    PulseEndpoint* FindByIndex(EDataFlow flow, uint32_t index);
    PulseEndpoint* FindByName(EDataFlow flow, const std::string& name);
    // Announces what changed of the two defaults since the last time.
    void UpdateDefaults(MirrorEvents& events);
    std::string EndpointNameOf(EDataFlow flow, uint32_t device) const;

    std::vector<PulseEndpoint> m_endpoints;
    std::vector<PulseStream> m_streams;
    std::string m_serverDefault[2];     // by flow, as the server names it
    std::string m_announcedDefault[2];  // by flow, as last announced
};

}  // namespace qv
