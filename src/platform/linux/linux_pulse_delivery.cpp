// The part of CPulseAudioContext that hands the mirror's events to the
// registered callbacks, on the callback thread. Each event goes to the
// registrations that exist when it is queued, on the loop thread, and still
// exist when it is delivered.
#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_audio_session.h"
#include "platform/linux/linux_pulse_context.h"

namespace qv {

namespace {
// The event context that the session events carry: nobody's in particular.
const GUID kNoEventContext{};
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
        switch (event.kind) {
            case MirrorEvent::Kind::DeviceAdded:
            case MirrorEvent::Kind::DeviceStateChanged:
            case MirrorEvent::Kind::DeviceRemoved:
            case MirrorEvent::Kind::DefaultDeviceChanged:
            case MirrorEvent::Kind::PropertyValueChanged: PublishEndpointEvent(event); break;
            case MirrorEvent::Kind::SessionCreated: PublishSessionCreated(event); break;
            default: PublishSessionEvent(event); break;
        }
    }
}

void CPulseAudioContext::PublishEndpointEvent(const MirrorEvent& event) {
    m_delivery.Post([self = m_self, ids = m_endpointClients.Snapshot(), event] {
        CRefPtr<CPulseAudioContext> context = self.Lock();
        if (!context) return;
        const std::wstring id = Utf8ToWide(event.endpoint);
        context->m_endpointClients.Deliver(ids, [&](IMMNotificationClient* client) {
            switch (event.kind) {
                case MirrorEvent::Kind::DeviceAdded: client->OnDeviceAdded(id.c_str()); break;
                case MirrorEvent::Kind::DeviceStateChanged:
                    client->OnDeviceStateChanged(id.c_str(), event.state);
                    break;
                case MirrorEvent::Kind::DeviceRemoved: client->OnDeviceRemoved(id.c_str()); break;
                case MirrorEvent::Kind::DefaultDeviceChanged:
                    // No default any more is a null id.
                    client->OnDefaultDeviceChanged(event.flow, static_cast<ERole>(event.state),
                                                   id.empty() ? nullptr : id.c_str());
                    break;
                case MirrorEvent::Kind::PropertyValueChanged:
                    client->OnPropertyValueChanged(id.c_str(), event.key);
                    break;
                default: break;
            }
        });
    });
}

void CPulseAudioContext::PublishSessionCreated(const MirrorEvent& event) {
    std::shared_ptr<SessionNotifications> list = NotificationsOf(event.flow, event.endpoint);
    const SessionKey key{m_generation, event.flow, event.stream, event.device};
    m_delivery.Post([self = m_self, list, ids = list->Snapshot(), key, endpoint = event.endpoint] {
        if (ids.empty()) return;
        CRefPtr<CPulseAudioContext> context = self.Lock();
        if (!context) return;
        auto session = MakeRef<CLinuxAudioSession>(context, key, endpoint);
        list->Deliver(ids,
                      [&](IAudioSessionNotification* notification) { notification->OnSessionCreated(session.get()); });
    });
}

void CPulseAudioContext::PublishSessionEvent(const MirrorEvent& event) {
    std::shared_ptr<SessionEvents> list;
    {
        std::lock_guard lock(m_registryMutex);
        auto found = m_events.find(SessionKey{m_generation, event.flow, event.stream, event.device});
        if (found == m_events.end()) return;
        list = found->second;
    }
    m_delivery.Post([list, ids = list->Snapshot(), event] {
        list->Deliver(ids, [&](IAudioSessionEvents* events) {
            switch (event.kind) {
                case MirrorEvent::Kind::SessionStateChanged: events->OnStateChanged(event.sessionState); break;
                case MirrorEvent::Kind::SessionDisplayNameChanged: {
                    const std::wstring name = Utf8ToWide(event.text);
                    events->OnDisplayNameChanged(name.c_str(), &kNoEventContext);
                    break;
                }
                case MirrorEvent::Kind::SessionIconPathChanged: {
                    const std::wstring path = Utf8ToWide(event.text);
                    events->OnIconPathChanged(path.c_str(), &kNoEventContext);
                    break;
                }
                case MirrorEvent::Kind::SessionSimpleVolumeChanged:
                    events->OnSimpleVolumeChanged(event.volume, event.muted, &kNoEventContext);
                    break;
                case MirrorEvent::Kind::SessionChannelVolumeChanged:
                    events->OnChannelVolumeChanged(static_cast<uint32_t>(event.channelVolumes.size()),
                                                   event.channelVolumes.data(), event.changedChannel, &kNoEventContext);
                    break;
                case MirrorEvent::Kind::SessionDisconnected: events->OnSessionDisconnected(event.reason); break;
                default: break;
            }
        });
    });
}

}  // namespace qv
