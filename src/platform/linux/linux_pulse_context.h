// One connection to the sound server (PulseAudio, or PipeWire's pulse
// server) through libpulse's threaded main loop, and everything that the
// audio objects of one enumerator share: the mirror of the server's state
// (linux_pulse_mirror.h), the registrations of callbacks, and the thread
// that calls them (linux_callback_thread.h).
//
// Threads. libpulse calls us on its loop thread, where the mirror is
// updated from the server's answers and events are queued for the callback
// thread; no model code ever runs on the loop thread, and it never waits for
// any other thread. Model calls read the mirror under a lock of its own; the
// calls that list things first make two round trips to the server, after
// which every event that the server sent before the call has been applied
// (an event's info request goes out when the event comes in, so it is
// answered before a round trip that starts after it).
//
// Server lost. When the connection fails, every stream is disconnected
// (server shutdown), every endpoint becomes not present and is removed, and
// calls that need the server fail with AUDCLNT_E_SERVICE_NOT_RUNNING. The
// port reconnects by itself, after 1 s and then at growing intervals up to
// 30 s, and at once when a call needs the server (at most one attempt per
// half second). After a reconnection the endpoints come back as added, so
// the model rebuilds what it had. Objects made before the loss (sessions)
// belong to the old connection and fail with AUDCLNT_E_SERVICE_NOT_RUNNING
// for good; endpoints are named by their id and work again.
//
// PULSE_SERVER, XDG_RUNTIME_DIR and the client configuration are libpulse's
// own business; the port never starts a server (no autospawn).
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "core/ref.h"
#include "platform/audio.h"
#include "platform/callback_list.h"
#include "platform/callback_thread.h"
#include "platform/codes.h"
#include "platform/linux/linux_endpoint_properties.h"
#include "platform/linux/linux_pulse_mirror.h"
#include "platform/linux/linux_pulse_owners.h"

struct pa_server_info;
struct pa_sink_info;
struct pa_source_info;
struct pa_sink_input_info;
struct pa_source_output_info;

namespace qv {

// A session: one stream on one endpoint, of one connection.
struct SessionKey {
    uint64_t generation = 0;
    EDataFlow flow = eRender;
    uint32_t stream = kNoPulseIndex;
    uint32_t device = kNoPulseIndex;
    friend auto operator<=>(const SessionKey&, const SessionKey&) = default;
};

class CPulseAudioContext : public CAddReleaseRef {
public:
    using EndpointClients = CCallbackList<IMMNotificationClient, false>;
    using SessionNotifications = CCallbackList<IAudioSessionNotification, true>;
    using SessionEvents = CCallbackList<IAudioSessionEvents, true>;

    // Starts the connection and waits a few seconds for the server's first
    // answers; without a server it still returns, and keeps trying.
    static CRefPtr<CPulseAudioContext> Create();
    CPulseAudioContext();
    ~CPulseAudioContext() override;

    // S_OK once connected, reconnecting first if need be;
    // AUDCLNT_E_SERVICE_NOT_RUNNING without a server.
    HRESULT EnsureConnected();
    // EnsureConnected, then the round trips that bring the mirror up to
    // the moment of the call.
    HRESULT Synchronize();

    // Runs read(mirror, generation, connected) under the mirror's lock.
    template <class Read>
    auto ReadMirror(Read&& read) {
        std::lock_guard lock(m_stateMutex);
        return read(static_cast<const CPulseMirror&>(m_mirror), m_generation, m_connected);
    }

    EndpointClients& EndpointClientList() { return m_endpointClients; }
    std::shared_ptr<SessionNotifications> NotificationsOf(EDataFlow flow, const std::string& endpoint);
    std::shared_ptr<SessionEvents> EventsOf(const SessionKey& key);
    // Drops the list of the key if nothing is registered there any more.
    void ForgetEventsIfEmpty(const SessionKey& key);

    CEndpointPropertyFile& PropertyFile() { return m_propertyFile; }

    // libpulse's callbacks, on the loop thread.
    void OnContextState(pa_context* context);
    void OnSubscription(uint32_t eventType, uint32_t index);
    void OnServerInfo(const pa_server_info* info);
    void OnSinkInfo(const pa_sink_info* info);
    void OnSourceInfo(const pa_source_info* info);
    void OnSinkInputInfo(const pa_sink_input_info* info);
    void OnSourceOutputInfo(const pa_source_output_info* info);
    void OnInitialPartDone();
    void OnRetryTimer();
    void OnAwaitTimer();
    // Signals a round trip's end; the loop thread holds the loop's lock.
    void NotifyChanged();
    std::mutex& StateMutex() { return m_stateMutex; }

private:
    // The loop's lock is held for all of these.
    uint64_t StartAttemptLocked();
    void FinishAttemptLocked(bool connected);
    void ScheduleRetryLocked();
    void LoseConnectionLocked();
    // Applies a change to the mirror and queues what it announces.
    template <class Change>
    void ChangeMirror(Change&& change);
    void Publish(MirrorEvents& events);  // m_stateMutex held
    void PublishEndpointEvent(const std::string& endpoint, const MirrorEvent& event);
    void PublishSessionCreated(const mirror::Session& created);
    void PublishSessionEvent(const mirror::Session& session, const MirrorEvent& event);
    bool RoundTrip();

    PulseLoop m_loop;
    // Loop lock: the context and the timer, which go before the loop.
    PulseContext m_context;
    PulseTimer m_retryTimer;
    // After a reconnection: when the endpoints that the returned server has
    // not shown yet count as gone.
    PulseTimer m_awaitTimer;
    int m_pendingInitialParts = 0;
    unsigned m_failedAttempts = 0;

    // m_stateMutex: the mirror and the state of the connection.
    std::mutex m_stateMutex;
    std::condition_variable m_changed;
    CPulseMirror m_mirror;
    bool m_connected = false;
    bool m_announce = false;  // off during the first fetch: the model enumerates that
    uint64_t m_generation = 1;
    uint64_t m_attempt = 0;
    uint64_t m_attemptDone = 0;
    std::chrono::steady_clock::time_point m_lastAttemptEnd{};

    const CWeakRefPtr<CPulseAudioContext> m_self;
    CEndpointPropertyFile m_propertyFile;
    EndpointClients m_endpointClients;
    std::mutex m_registryMutex;
    std::map<std::pair<EDataFlow, std::string>, std::shared_ptr<SessionNotifications>> m_notifications;
    std::map<SessionKey, std::shared_ptr<SessionEvents>> m_events;
    CCallbackThread m_delivery;
};

}  // namespace qv
