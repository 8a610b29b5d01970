// Recording doubles of the model's callback objects, for the tests of every
// audio port (simulated, Linux, Windows): each writes what it is told as a
// line of text, with the thread it was told on.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/ref.h"
#include "platform/audio.h"
#include "platform/codes.h"
#include "platform/power.h"

namespace qv::test {

// What a callback object has been told, in order, with the threads; a test
// waits for a condition on it instead of sleeping.
class CallLog {
public:
    void Add(std::wstring call) {
        {
            std::lock_guard lock(m_mutex);
            m_calls.push_back(std::move(call));
            m_threads.push_back(std::this_thread::get_id());
        }
        m_changed.notify_all();
    }
    // Whether the condition came to hold within the time. The bound is
    // generous: real sound servers answer in their own time on a loaded
    // machine.
    bool WaitFor(const std::function<bool(const std::vector<std::wstring>&)>& holds,
                 std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return holds(m_calls); });
    }
    // Whether a call of exactly this text comes within the time.
    bool WaitForCall(const std::wstring& call, std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
        return WaitFor([&](const auto& calls) { return std::find(calls.begin(), calls.end(), call) != calls.end(); },
                       timeout);
    }
    void Clear() {
        std::lock_guard lock(m_mutex);
        m_calls.clear();
        m_threads.clear();
    }
    std::vector<std::wstring> Calls() const {
        std::lock_guard lock(m_mutex);
        return m_calls;
    }
    std::vector<std::thread::id> Threads() const {
        std::lock_guard lock(m_mutex);
        return m_threads;
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::wstring> m_calls;
    std::vector<std::thread::id> m_threads;
};

inline std::wstring IdOrNull(const wchar_t* id) { return id ? std::wstring(id) : std::wstring(L"(null)"); }

class FakeEndpointClient : public CAddReleaseRef, public IMMNotificationClient {
public:
    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT OnDeviceStateChanged(const wchar_t* id, uint32_t state) override {
        return Record(L"state " + IdOrNull(id) + L" " + std::to_wstring(state));
    }
    HRESULT OnDeviceAdded(const wchar_t* id) override { return Record(L"added " + IdOrNull(id)); }
    HRESULT OnDeviceRemoved(const wchar_t* id) override { return Record(L"removed " + IdOrNull(id)); }
    HRESULT OnDefaultDeviceChanged(EDataFlow flow, ERole role, const wchar_t* id) override {
        return Record(L"default " + std::to_wstring(flow) + L" " + std::to_wstring(role) + L" " + IdOrNull(id));
    }
    HRESULT OnPropertyValueChanged(const wchar_t* id, const PROPERTYKEY& key) override {
        return Record(L"property " + IdOrNull(id) + L" " + std::to_wstring(key.pid));
    }

    CallLog Log;
    // Runs inside every callback, after it is logged.
    std::function<void()> During;

private:
    HRESULT Record(std::wstring call) {
        Log.Add(std::move(call));
        if (During) During();
        return S_OK;
    }
};

class FakeSessionNotification : public CAddReleaseRef, public IAudioSessionNotification {
public:
    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT OnSessionCreated(IAudioSessionControl* session) override {
        std::wstring id;
        CRefPtr<IAudioSessionControl2> control2;
        if (session && Succeeded(session->QueryInterface(control2))) control2->GetSessionInstanceIdentifier(id);
        {
            // Kept before it is logged: a test that waits on the log then
            // finds the session.
            std::lock_guard lock(m_mutex);
            m_sessions.emplace_back(session);
        }
        Log.Add(L"created " + id);
        return S_OK;
    }
    std::vector<CRefPtr<IAudioSessionControl>> Sessions() {
        std::lock_guard lock(m_mutex);
        return m_sessions;
    }
    CallLog Log;

private:
    std::mutex m_mutex;
    std::vector<CRefPtr<IAudioSessionControl>> m_sessions;
};

class FakeSessionEvents : public CAddReleaseRef, public IAudioSessionEvents {
public:
    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT OnDisplayNameChanged(const wchar_t* name, const GUID*) override {
        return Record(L"name " + IdOrNull(name));
    }
    HRESULT OnIconPathChanged(const wchar_t* path, const GUID*) override { return Record(L"icon " + IdOrNull(path)); }
    HRESULT OnSimpleVolumeChanged(float volume, bool mute, const GUID*) override {
        return Record(L"volume " + std::to_wstring(volume) + (mute ? L" muted" : L""));
    }
    HRESULT OnChannelVolumeChanged(uint32_t count, const float* volumes, uint32_t changed, const GUID*) override {
        std::wstring text = L"channels";
        for (uint32_t i = 0; i < count; ++i) text += L" " + std::to_wstring(volumes[i]);
        return Record(text + L" changed " + std::to_wstring(changed));
    }
    HRESULT OnGroupingParamChanged(const GUID& grouping, const GUID*) override {
        return Record(L"grouping " + GuidToString(grouping));
    }
    HRESULT OnStateChanged(AudioSessionState state) override { return Record(L"state " + std::to_wstring(state)); }
    HRESULT OnSessionDisconnected(AudioSessionDisconnectReason reason) override {
        return Record(L"disconnected " + std::to_wstring(reason));
    }
    CallLog Log;

private:
    HRESULT Record(std::wstring call) {
        Log.Add(std::move(call));
        return S_OK;
    }
};

class FakePowerCallback : public ISuspendResumeCallback {
public:
    uint32_t PowerSuspendResumeNotification(uint32_t type, const void* setting) override {
        Log.Add(std::to_wstring(type) + (setting ? L" with setting" : L""));
        if (During) During();
        return 0;
    }
    CallLog Log;
    std::function<void()> During;
};

}  // namespace qv::test
