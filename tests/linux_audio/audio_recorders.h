// Test doubles of the model's callback objects: each keeps what it was
// called with, and on which thread, and lets a test wait for a condition
// on that record instead of sleeping.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/audio.h"
#include "platform/codes.h"

namespace qv::test {

// The record and its waiting, shared by the three doubles.
template <class Event>
class CRecord {
public:
    void Add(Event event) {
        {
            std::lock_guard lock(m_mutex);
            m_events.push_back(std::move(event));
        }
        m_changed.notify_all();
    }
    std::vector<Event> Events() const {
        std::lock_guard lock(m_mutex);
        return m_events;
    }
    // Whether the predicate came to hold on the record within the time. The
    // bound is generous: on a loaded machine PipeWire's session manager
    // takes its time over a new default.
    bool WaitFor(const std::function<bool(const std::vector<Event>&)>& holds,
                 std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return holds(m_events); });
    }
    void Clear() {
        std::lock_guard lock(m_mutex);
        m_events.clear();
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Event> m_events;
};

struct EndpointEvent {
    std::string kind;  // "added", "removed", "state", "default", "property"
    std::wstring id;   // "(null)" for a null id
    uint32_t state = 0;
    EDataFlow flow = eRender;
    ERole role = eConsole;
    PROPERTYKEY key{};
    std::thread::id thread;
};

class CRecordingEndpointClient : public CAddReleaseRef, public IMMNotificationClient, public CRecord<EndpointEvent> {
public:
    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT OnDeviceStateChanged(const wchar_t* id, uint32_t state) override {
        EndpointEvent e = Make("state", id);
        e.state = state;
        return Note(std::move(e));
    }
    HRESULT OnDeviceAdded(const wchar_t* id) override { return Note(Make("added", id)); }
    HRESULT OnDeviceRemoved(const wchar_t* id) override { return Note(Make("removed", id)); }
    HRESULT OnDefaultDeviceChanged(EDataFlow flow, ERole role, const wchar_t* id) override {
        EndpointEvent e = Make("default", id);
        e.flow = flow;
        e.role = role;
        return Note(std::move(e));
    }
    HRESULT OnPropertyValueChanged(const wchar_t* id, const PROPERTYKEY& key) override {
        EndpointEvent e = Make("property", id);
        e.key = key;
        return Note(std::move(e));
    }
    // Runs in each call, before it is recorded.
    std::function<void()> During;

private:
    static EndpointEvent Make(const char* kind, const wchar_t* id) {
        EndpointEvent e;
        e.kind = kind;
        e.id = id ? std::wstring(id) : L"(null)";
        return e;
    }
    HRESULT Note(EndpointEvent event) {
        if (During) During();
        event.thread = std::this_thread::get_id();
        Add(std::move(event));
        return S_OK;
    }
};

struct CreatedSession {
    CRefPtr<IAudioSessionControl> session;
    std::thread::id thread;
};

class CRecordingSessionNotification : public CAddReleaseRef,
                                      public IAudioSessionNotification,
                                      public CRecord<CreatedSession> {
public:
    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT OnSessionCreated(IAudioSessionControl* session) override {
        if (During) During(session);
        Add({CRefPtr<IAudioSessionControl>(session), std::this_thread::get_id()});
        return S_OK;
    }
    std::function<void(IAudioSessionControl*)> During;
};

struct SessionEvent {
    std::string kind;  // "state", "name", "icon", "volume", "channels", "grouping", "disconnected"
    AudioSessionState state = AudioSessionStateInactive;
    std::wstring text;
    float volume = 0;
    bool mute = false;
    std::vector<float> channels;
    uint32_t changedChannel = 0;
    AudioSessionDisconnectReason reason = DisconnectReasonDeviceRemoval;
    std::thread::id thread;
};

class CRecordingSessionEvents : public CAddReleaseRef, public IAudioSessionEvents, public CRecord<SessionEvent> {
public:
    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT OnDisplayNameChanged(const wchar_t* name, const GUID*) override {
        SessionEvent e = Make("name");
        e.text = name ? name : L"";
        return Note(std::move(e));
    }
    HRESULT OnIconPathChanged(const wchar_t* path, const GUID*) override {
        SessionEvent e = Make("icon");
        e.text = path ? path : L"";
        return Note(std::move(e));
    }
    HRESULT OnSimpleVolumeChanged(float volume, bool mute, const GUID*) override {
        SessionEvent e = Make("volume");
        e.volume = volume;
        e.mute = mute;
        return Note(std::move(e));
    }
    HRESULT OnChannelVolumeChanged(uint32_t count, const float* volumes, uint32_t changed, const GUID*) override {
        SessionEvent e = Make("channels");
        e.channels.assign(volumes, volumes + count);
        e.changedChannel = changed;
        return Note(std::move(e));
    }
    HRESULT OnGroupingParamChanged(const GUID&, const GUID*) override { return Note(Make("grouping")); }
    HRESULT OnStateChanged(AudioSessionState state) override {
        SessionEvent e = Make("state");
        e.state = state;
        return Note(std::move(e));
    }
    HRESULT OnSessionDisconnected(AudioSessionDisconnectReason reason) override {
        SessionEvent e = Make("disconnected");
        e.reason = reason;
        return Note(std::move(e));
    }

private:
    static SessionEvent Make(const char* kind) {
        SessionEvent e;
        e.kind = kind;
        return e;
    }
    HRESULT Note(SessionEvent event) {
        event.thread = std::this_thread::get_id();
        Add(std::move(event));
        return S_OK;
    }
};

// Whether the record holds an event of the kind that matches.
template <class Event, class Match>
bool Contains(const std::vector<Event>& events, Match&& match) {
    for (const Event& e : events)
        if (match(e)) return true;
    return false;
}

}  // namespace qv::test
