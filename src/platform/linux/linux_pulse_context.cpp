#include "platform/linux/linux_pulse_context.h"

#include <pulse/pulseaudio.h>

#include <algorithm>

#include "platform/codes.h"

namespace qv {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kFirstAnswerWait = std::chrono::seconds(5);
constexpr auto kAttemptWait = std::chrono::seconds(3);
constexpr auto kRoundTripWait = std::chrono::seconds(5);
constexpr auto kAttemptSpacing = std::chrono::milliseconds(500);
constexpr pa_usec_t kFirstRetry = PA_USEC_PER_SEC;
constexpr pa_usec_t kLongestRetry = 30 * PA_USEC_PER_SEC;
// A restarted server shows its devices in its own time (PipeWire's session
// manager makes its nodes after the server is up): an endpoint it has not
// shown this long after the reconnection is gone.
constexpr pa_usec_t kAwaitReturn = 10 * PA_USEC_PER_SEC;

CPulseAudioContext* Self(void* userdata) { return static_cast<CPulseAudioContext*>(userdata); }

std::string PropertyText(const pa_proplist* properties, const char* key) {
    const char* value = properties ? pa_proplist_gets(properties, key) : nullptr;
    return value ? std::string(value) : std::string();
}

std::vector<float> ChannelVolumes(const pa_cvolume& volume) {
    std::vector<float> channels;
    const unsigned count = std::min<unsigned>(volume.channels, PA_CHANNELS_MAX);
    for (unsigned i = 0; i < count; ++i) {
        float v = static_cast<float>(volume.values[i]) / static_cast<float>(PA_VOLUME_NORM);
        channels.push_back(std::clamp(v, 0.0f, 1.0f));
    }
    return channels;
}

template <class Info>
PulseEndpoint EndpointOf(const Info& info, EDataFlow flow) {
    PulseEndpoint endpoint;
    endpoint.flow = flow;
    endpoint.index = info.index;
    endpoint.name = info.name ? info.name : "";
    endpoint.description = info.description ? info.description : "";
    // Suspended counts as active: PipeWire suspends idle sinks after a few
    // seconds, which must not look like an unplug.
    endpoint.state = info.active_port && info.active_port->available == PA_PORT_AVAILABLE_NO ? DEVICE_STATE_UNPLUGGED
                                                                                             : DEVICE_STATE_ACTIVE;
    for (const EndpointPresetKey& preset : kEndpointPresetKeys) {
        if (const char* text = pa_proplist_gets(info.proplist, preset.proplistKey))
            endpoint.presetTexts.emplace_back(preset.proplistKey, text);
    }
    return endpoint;
}

template <class Info>
PulseStream StreamOf(const Info& info, EDataFlow flow, uint32_t device) {
    PulseStream stream;
    stream.flow = flow;
    stream.index = info.index;
    stream.device = device;
    stream.client = info.client;
    stream.corked = info.corked != 0;
    stream.applicationName = PropertyText(info.proplist, PA_PROP_APPLICATION_NAME);
    stream.iconName = PropertyText(info.proplist, PA_PROP_APPLICATION_ICON_NAME);
    stream.role = PropertyText(info.proplist, PA_PROP_MEDIA_ROLE);
    stream.processId = PropertyText(info.proplist, PA_PROP_APPLICATION_PROCESS_ID);
    stream.channelVolumes = ChannelVolumes(info.volume);
    stream.muted = info.mute != 0;
    return stream;
}

// ---- libpulse callbacks

void ContextStateCallback(pa_context* c, void* userdata) { Self(userdata)->OnContextState(c); }

void SubscriptionCallback(pa_context*, pa_subscription_event_type_t type, uint32_t index, void* userdata) {
    Self(userdata)->OnSubscription(static_cast<uint32_t>(type), index);
}

void ServerInfoCallback(pa_context*, const pa_server_info* info, void* userdata) {
    if (info) Self(userdata)->OnServerInfo(info);
}

void SinkInfoCallback(pa_context*, const pa_sink_info* info, int eol, void* userdata) {
    if (eol == 0 && info) Self(userdata)->OnSinkInfo(info);
}
void SourceInfoCallback(pa_context*, const pa_source_info* info, int eol, void* userdata) {
    if (eol == 0 && info) Self(userdata)->OnSourceInfo(info);
}
void SinkInputInfoCallback(pa_context*, const pa_sink_input_info* info, int eol, void* userdata) {
    if (eol == 0 && info) Self(userdata)->OnSinkInputInfo(info);
}
void SourceOutputInfoCallback(pa_context*, const pa_source_output_info* info, int eol, void* userdata) {
    if (eol == 0 && info) Self(userdata)->OnSourceOutputInfo(info);
}

// The same, for the lists of the first fetch, which count their ends.
void InitialServerInfoCallback(pa_context* c, const pa_server_info* info, void* userdata) {
    ServerInfoCallback(c, info, userdata);
    Self(userdata)->OnInitialPartDone();
}
template <class Info, void (*Each)(pa_context*, const Info*, int, void*)>
void InitialListCallback(pa_context* c, const Info* info, int eol, void* userdata) {
    Each(c, info, eol, userdata);
    if (eol != 0) Self(userdata)->OnInitialPartDone();
}

void RetryTimerCallback(pa_mainloop_api*, pa_time_event*, const struct timeval*, void* userdata) {
    Self(userdata)->OnRetryTimer();
}

void AwaitTimerCallback(pa_mainloop_api*, pa_time_event*, const struct timeval*, void* userdata) {
    Self(userdata)->OnAwaitTimer();
}

// The main loop's timers run on the wall clock; a jump of it only moves one.
// The loop's lock is held.
PulseTimer NewTimer(pa_threaded_mainloop* loop, pa_usec_t delay, pa_time_event_cb_t callback, void* userdata) {
    timeval when{};
    pa_gettimeofday(&when);
    pa_timeval_add(&when, delay);
    pa_mainloop_api* api = pa_threaded_mainloop_get_api(loop);
    return PulseTimer(api->time_new(api, &when, callback, userdata), PulseTimerFree{api});
}

// A round trip: the server's answer to one request, and who waits for it.
struct RoundTripWaiter {
    CPulseAudioContext* self;
    bool done = false;  // guarded by the context's state mutex
};

void RoundTripCallback(pa_context*, const pa_server_info* info, void* userdata) {
    auto* waiter = static_cast<RoundTripWaiter*>(userdata);
    if (info) waiter->self->OnServerInfo(info);
    {
        std::lock_guard lock(waiter->self->StateMutex());
        waiter->done = true;
    }
    waiter->self->NotifyChanged();
}

// A request whose answer only its callback waits for: our reference goes
// at once.
void NoWait(pa_operation* operation) { PulseOperation owned(operation); }

}  // namespace

// ---- Life

CRefPtr<CPulseAudioContext> CPulseAudioContext::Create() {
    auto context = MakeRef<CPulseAudioContext>();
    if (!context->m_loop) return context;
    uint64_t attempt;
    {
        CPulseLoopLock lock(context->m_loop.get());
        attempt = context->StartAttemptLocked();
    }
    std::unique_lock lock(context->m_stateMutex);
    context->m_changed.wait_for(lock, kFirstAnswerWait,
                                [&] { return context->m_connected || context->m_attemptDone >= attempt; });
    return context;
}

CPulseAudioContext::CPulseAudioContext() : m_self(this), m_propertyFile(CEndpointPropertyFile::DefaultPath()) {
    m_loop.reset(pa_threaded_mainloop_new());
    if (!m_loop) return;
    pa_threaded_mainloop_set_name(m_loop.get(), "qv-pulse");
    if (pa_threaded_mainloop_start(m_loop.get()) < 0) m_loop.reset();
}

CPulseAudioContext::~CPulseAudioContext() {
    if (m_loop) {
        {
            CPulseLoopLock lock(m_loop.get());
            m_context.reset();
            m_retryTimer.reset();
            m_awaitTimer.reset();
        }
        m_loop.reset();
    }
    // Undelivered events go; a delivery in progress (if this is not it) is
    // waited for.
    m_delivery.Stop();
}

// ---- Connecting

uint64_t CPulseAudioContext::StartAttemptLocked() {
    std::unique_lock state(m_stateMutex);
    // A context that exists is an attempt under way, or a live connection.
    if (m_context) return m_attempt;
    const uint64_t attempt = ++m_attempt;
    state.unlock();
    m_retryTimer.reset();
    PulseProplist properties(pa_proplist_new());
    pa_proplist_sets(properties.get(), PA_PROP_APPLICATION_NAME, "Quorvane");
    m_context.reset(
        pa_context_new_with_proplist(pa_threaded_mainloop_get_api(m_loop.get()), "Quorvane", properties.get()));
    if (!m_context) {
        FinishAttemptLocked(false);
        return attempt;
    }
    pa_context_set_state_callback(m_context.get(), ContextStateCallback, this);
    if (pa_context_connect(m_context.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        m_context.reset();
        FinishAttemptLocked(false);
    }
    return attempt;
}

void CPulseAudioContext::FinishAttemptLocked(bool connected) {
    {
        std::lock_guard state(m_stateMutex);
        m_attemptDone = m_attempt;
        m_lastAttemptEnd = Clock::now();
        if (connected) {
            m_connected = true;
            m_announce = true;
        }
    }
    m_changed.notify_all();
    if (connected) {
        m_failedAttempts = 0;
        bool awaits = false;
        {
            std::lock_guard state(m_stateMutex);
            awaits = m_mirror.AwaitsEndpoints();
        }
        if (awaits) m_awaitTimer = NewTimer(m_loop.get(), kAwaitReturn, AwaitTimerCallback, this);
    } else {
        ++m_failedAttempts;
        ScheduleRetryLocked();
    }
}

void CPulseAudioContext::ScheduleRetryLocked() {
    if (m_retryTimer || m_context) return;
    pa_usec_t delay = kFirstRetry;
    for (unsigned i = 1; i < m_failedAttempts && delay < kLongestRetry; ++i) delay *= 2;
    delay = std::min(delay, kLongestRetry);
    m_retryTimer = NewTimer(m_loop.get(), delay, RetryTimerCallback, this);
}

void CPulseAudioContext::OnRetryTimer() {
    m_retryTimer.reset();
    StartAttemptLocked();
}

void CPulseAudioContext::OnAwaitTimer() {
    m_awaitTimer.reset();
    ChangeMirror([](CPulseMirror& m, MirrorEvents& e) { m.ForgetAwaitedEndpoints(e); });
}

void CPulseAudioContext::OnContextState(pa_context* context) {
    if (context != m_context.get()) return;
    switch (pa_context_get_state(context)) {
        case PA_CONTEXT_READY: {
            pa_context_set_subscribe_callback(context, SubscriptionCallback, this);
            const auto mask = static_cast<pa_subscription_mask_t>(
                PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SINK_INPUT |
                PA_SUBSCRIPTION_MASK_SOURCE_OUTPUT | PA_SUBSCRIPTION_MASK_SERVER);
            NoWait(pa_context_subscribe(context, mask, nullptr, nullptr));
            // The first picture of the server. Events that come meanwhile
            // are applied too; each record replaces what was there.
            m_pendingInitialParts = 5;
            NoWait(pa_context_get_server_info(context, InitialServerInfoCallback, this));
            NoWait(pa_context_get_sink_info_list(context, InitialListCallback<pa_sink_info, SinkInfoCallback>, this));
            NoWait(pa_context_get_source_info_list(context, InitialListCallback<pa_source_info, SourceInfoCallback>,
                                                   this));
            NoWait(pa_context_get_sink_input_info_list(
                context, InitialListCallback<pa_sink_input_info, SinkInputInfoCallback>, this));
            NoWait(pa_context_get_source_output_info_list(
                context, InitialListCallback<pa_source_output_info, SourceOutputInfoCallback>, this));
            break;
        }
        case PA_CONTEXT_FAILED:
        case PA_CONTEXT_TERMINATED:
            m_context.reset();
            LoseConnectionLocked();
            FinishAttemptLocked(false);
            break;
        default: break;
    }
}

void CPulseAudioContext::OnInitialPartDone() {
    if (m_pendingInitialParts <= 0 || --m_pendingInitialParts > 0) return;
    FinishAttemptLocked(true);
}

void CPulseAudioContext::LoseConnectionLocked() {
    // The next connection's picture decides anew.
    m_awaitTimer.reset();
    {
        std::lock_guard state(m_stateMutex);
        if (m_connected || m_announce) {
            MirrorEvents events;
            m_mirror.LoseServer(events);
            Publish(events);
        } else {
            m_mirror = CPulseMirror();
        }
        m_connected = false;
        // Sessions of this connection end here; the next one numbers its
        // streams anew.
        ++m_generation;
    }
    m_changed.notify_all();
}

HRESULT CPulseAudioContext::EnsureConnected() {
    if (!m_loop) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    {
        std::lock_guard state(m_stateMutex);
        if (m_connected) return S_OK;
        // Each failed attempt takes its time; calls in a burst share one.
        if (m_attemptDone == m_attempt && Clock::now() - m_lastAttemptEnd < kAttemptSpacing)
            return AUDCLNT_E_SERVICE_NOT_RUNNING;
    }
    uint64_t attempt;
    {
        CPulseLoopLock lock(m_loop.get());
        attempt = StartAttemptLocked();
    }
    std::unique_lock state(m_stateMutex);
    m_changed.wait_for(state, kAttemptWait, [&] { return m_connected || m_attemptDone >= attempt; });
    return m_connected ? S_OK : AUDCLNT_E_SERVICE_NOT_RUNNING;
}

bool CPulseAudioContext::RoundTrip() {
    RoundTripWaiter waiter{this};
    PulseOperation operation;
    uint64_t generation;
    {
        CPulseLoopLock lock(m_loop.get());
        if (!m_context || pa_context_get_state(m_context.get()) != PA_CONTEXT_READY) return false;
        {
            std::lock_guard state(m_stateMutex);
            generation = m_generation;
        }
        operation.reset(pa_context_get_server_info(m_context.get(), RoundTripCallback, &waiter));
        if (!operation) return false;
    }
    bool done;
    {
        std::unique_lock state(m_stateMutex);
        m_changed.wait_for(state, kRoundTripWait, [&] { return waiter.done || m_generation != generation; });
        done = waiter.done;
    }
    // Once cancelled under the loop's lock, the callback cannot come any
    // more, so the waiter may go. The operation goes under the lock too.
    CPulseLoopLock lock(m_loop.get());
    if (pa_operation_get_state(operation.get()) == PA_OPERATION_RUNNING) pa_operation_cancel(operation.get());
    operation.reset();
    return done;
}

HRESULT CPulseAudioContext::Synchronize() {
    if (HRESULT hr = EnsureConnected(); hr != S_OK) return hr;
    // The first round trip brings the events sent before the call, the
    // second the answers to the requests those events made.
    if (!RoundTrip() || !RoundTrip()) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    return S_OK;
}

void CPulseAudioContext::NotifyChanged() { m_changed.notify_all(); }

// ---- The server's answers

void CPulseAudioContext::OnSubscription(uint32_t eventType, uint32_t index) {
    if (!m_context) return;
    const auto facility = eventType & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const bool removed = (eventType & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE;
    switch (facility) {
        case PA_SUBSCRIPTION_EVENT_SINK:
            if (removed)
                ChangeMirror([&](CPulseMirror& m, MirrorEvents& e) { m.RemoveEndpoint(eRender, index, e); });
            else
                NoWait(pa_context_get_sink_info_by_index(m_context.get(), index, SinkInfoCallback, this));
            break;
        case PA_SUBSCRIPTION_EVENT_SOURCE:
            if (removed)
                ChangeMirror([&](CPulseMirror& m, MirrorEvents& e) { m.RemoveEndpoint(eCapture, index, e); });
            else
                NoWait(pa_context_get_source_info_by_index(m_context.get(), index, SourceInfoCallback, this));
            break;
        case PA_SUBSCRIPTION_EVENT_SINK_INPUT:
            if (removed)
                ChangeMirror([&](CPulseMirror& m, MirrorEvents& e) { m.RemoveStream(eRender, index, e); });
            else
                NoWait(pa_context_get_sink_input_info(m_context.get(), index, SinkInputInfoCallback, this));
            break;
        case PA_SUBSCRIPTION_EVENT_SOURCE_OUTPUT:
            if (removed)
                ChangeMirror([&](CPulseMirror& m, MirrorEvents& e) { m.RemoveStream(eCapture, index, e); });
            else
                NoWait(pa_context_get_source_output_info(m_context.get(), index, SourceOutputInfoCallback, this));
            break;
        case PA_SUBSCRIPTION_EVENT_SERVER:
            NoWait(pa_context_get_server_info(m_context.get(), ServerInfoCallback, this));
            break;
        default: break;
    }
}

void CPulseAudioContext::OnServerInfo(const pa_server_info* info) {
    const std::string sink = info->default_sink_name ? info->default_sink_name : "";
    const std::string source = info->default_source_name ? info->default_source_name : "";
    ChangeMirror([&](CPulseMirror& m, MirrorEvents& e) { m.SetServerDefaults(sink, source, e); });
}

void CPulseAudioContext::OnSinkInfo(const pa_sink_info* info) {
    ChangeMirror([&](CPulseMirror& m, MirrorEvents& e) { m.UpsertEndpoint(EndpointOf(*info, eRender), e); });
}

void CPulseAudioContext::OnSourceInfo(const pa_source_info* info) {
    // A monitor is the other face of a sink, not a capture endpoint.
    if (info->monitor_of_sink != PA_INVALID_INDEX) return;
    ChangeMirror([&](CPulseMirror& m, MirrorEvents& e) { m.UpsertEndpoint(EndpointOf(*info, eCapture), e); });
}

void CPulseAudioContext::OnSinkInputInfo(const pa_sink_input_info* info) {
    ChangeMirror([&](CPulseMirror& m, MirrorEvents& e) { m.UpsertStream(StreamOf(*info, eRender, info->sink), e); });
}

void CPulseAudioContext::OnSourceOutputInfo(const pa_source_output_info* info) {
    ChangeMirror([&](CPulseMirror& m, MirrorEvents& e) { m.UpsertStream(StreamOf(*info, eCapture, info->source), e); });
}

template <class Change>
void CPulseAudioContext::ChangeMirror(Change&& change) {
    std::lock_guard state(m_stateMutex);
    MirrorEvents events;
    change(m_mirror, events);
    if (m_announce) Publish(events);
}

}  // namespace qv
