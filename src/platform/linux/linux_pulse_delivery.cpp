// The part of CPulseAudioContext that hands the mirror's events to the
// registered callbacks, on the callback thread. Each event goes to the
// registrations that exist when it is queued, on the loop thread, and still
// exist when it is delivered.
#include <type_traits>
#include <variant>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_audio_session.h"
#include "platform/linux/linux_pulse_context.h"

namespace qv {

namespace {

// The event context that the session events carry: nobody's in particular.
const GUID kNoEventContext{};

// Each endpoint event as its callback; the session events are told below.
void Tell(IMMNotificationClient& client, const wchar_t* id, const mirror::DeviceAdded&) { client.OnDeviceAdded(id); }
void Tell(IMMNotificationClient& client, const wchar_t* id, const mirror::DeviceStateChanged& e) {
    client.OnDeviceStateChanged(id, e.state);
}
void Tell(IMMNotificationClient& client, const wchar_t* id, const mirror::DeviceRemoved&) {
    client.OnDeviceRemoved(id);
}
void Tell(IMMNotificationClient& client, const wchar_t* id, const mirror::DefaultDeviceChanged& e) {
    // No default any more is a null id.
    client.OnDefaultDeviceChanged(e.endpoint.flow, e.role, *id ? id : nullptr);
}
void Tell(IMMNotificationClient& client, const wchar_t* id, const mirror::PropertyValueChanged& e) {
    client.OnPropertyValueChanged(id, e.key);
}
template <class SessionEvent>
void Tell(IMMNotificationClient&, const wchar_t*, const SessionEvent&) {}

void Tell(IAudioSessionEvents& events, const mirror::SessionStateChanged& e) { events.OnStateChanged(e.state); }
void Tell(IAudioSessionEvents& events, const mirror::SessionDisplayNameChanged& e) {
    events.OnDisplayNameChanged(Utf8ToWide(e.name).c_str(), &kNoEventContext);
}
void Tell(IAudioSessionEvents& events, const mirror::SessionIconPathChanged& e) {
    events.OnIconPathChanged(Utf8ToWide(e.path).c_str(), &kNoEventContext);
}
void Tell(IAudioSessionEvents& events, const mirror::SessionSimpleVolumeChanged& e) {
    events.OnSimpleVolumeChanged(e.volume, e.muted, &kNoEventContext);
}
void Tell(IAudioSessionEvents& events, const mirror::SessionChannelVolumeChanged& e) {
    events.OnChannelVolumeChanged(static_cast<uint32_t>(e.volumes.size()), e.volumes.data(), e.changedChannel,
                                  &kNoEventContext);
}
void Tell(IAudioSessionEvents& events, const mirror::SessionDisconnected& e) { events.OnSessionDisconnected(e.reason); }
template <class OtherEvent>
void Tell(IAudioSessionEvents&, const OtherEvent&) {}

}  // namespace

std::shared_ptr<CPulseAudioContext::SessionNotifications> CPulseAudioContext::NotificationsOf(
    EDataFlow flow, const std::string& endpoint) {
    std::lock_guard lock(m_registryMutex);
    auto& list = m_notifications[{flow, endpoint}];
    if (!list) list = std::make_shared<SessionNotifications>();
    return list;
}

std::shared_ptr<CPulseAudioContext::SessionEvents> CPulseAudioContext::EventsOf(const SessionKey& key) {
    std::lock_guard lock(m_registryMutex);
    auto& list = m_events[key];
    if (!list) list = std::make_shared<SessionEvents>();
    return list;
}

void CPulseAudioContext::ForgetEventsIfEmpty(const SessionKey& key) {
    std::shared_ptr<SessionEvents> dropped;  // goes after the lock
    std::lock_guard lock(m_registryMutex);
    auto found = m_events.find(key);
    if (found != m_events.end() && found->second->Count() == 0) {
        dropped = std::move(found->second);
        m_events.erase(found);
    }
}

void CPulseAudioContext::Publish(MirrorEvents& events) {
    for (const MirrorEvent& event : events) {
        std::visit(
            [&](const auto& e) {
                if constexpr (std::is_same_v<std::decay_t<decltype(e)>, mirror::SessionCreated>)
                    PublishSessionCreated(e.session);
                else if constexpr (requires { e.endpoint.id; })
                    PublishEndpointEvent(e.endpoint.id, event);
                else
                    PublishSessionEvent(e.session, event);
            },
            event);
    }
}

void CPulseAudioContext::PublishEndpointEvent(const std::string& endpoint, const MirrorEvent& event) {
    m_delivery.Post([self = m_self, ids = m_endpointClients.Snapshot(), id = Utf8ToWide(endpoint), event] {
        CRefPtr<CPulseAudioContext> context = self.Lock();
        if (!context) return;
        context->m_endpointClients.Deliver(ids, [&](IMMNotificationClient* client) {
            std::visit([&](const auto& e) { Tell(*client, id.c_str(), e); }, event);
        });
    });
}

void CPulseAudioContext::PublishSessionCreated(const mirror::Session& created) {
    std::shared_ptr<SessionNotifications> list = NotificationsOf(created.flow, created.endpoint);
    const SessionKey key{m_generation, created.flow, created.stream, created.device};
    m_delivery.Post([self = m_self, list, ids = list->Snapshot(), key, endpoint = created.endpoint] {
        if (ids.empty()) return;
        CRefPtr<CPulseAudioContext> context = self.Lock();
        if (!context) return;
        auto session = MakeRef<CLinuxAudioSession>(context, key, endpoint);
        list->Deliver(ids,
                      [&](IAudioSessionNotification* notification) { notification->OnSessionCreated(session.get()); });
    });
}

void CPulseAudioContext::PublishSessionEvent(const mirror::Session& session, const MirrorEvent& event) {
    std::shared_ptr<SessionEvents> list;
    {
        std::lock_guard lock(m_registryMutex);
        auto found = m_events.find(SessionKey{m_generation, session.flow, session.stream, session.device});
        if (found == m_events.end()) return;
        list = found->second;
    }
    m_delivery.Post([list, ids = list->Snapshot(), event] {
        list->Deliver(
            ids, [&](IAudioSessionEvents* events) { std::visit([&](const auto& e) { Tell(*events, e); }, event); });
    });
}

}  // namespace qv
