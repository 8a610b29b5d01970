// The COM side of the Windows audio ports, which Wine never calls (no session
// enumeration, no session events, no endpoint events): the adapters that
// stand for the model's callback objects, and the session control, driven
// here through a session of the test's own that behaves as Core Audio's
// does (it holds what is registered, and hands out text in task memory).
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/format.h"
#include "platform/win32/win32_audio_session.h"
#include "platform/win32/win32_endpoint_notification_adapter.h"
#include "platform/win32/win32_guid.h"
#include "platform/win32/win32_session_callback_adapters.h"
#include "platform/win32/windows_api.h"

// Defines the key here rather than expect it in a library.
#include <initguid.h>

#include <functiondiscoverykeys_devpkey.h>

namespace qv {
namespace {

// ---- The model's side: one object stands for each of its callback objects
// (endpoint client, session events, session notification), writes down one
// line a call, and keeps the new sessions.
class RecordingCallbacks : public CAddReleaseRef,
                           public IMMNotificationClient,
                           public IAudioSessionEvents,
                           public IAudioSessionNotification {
public:
    static std::wstring Text(const wchar_t* text) { return text ? text : L"(null)"; }
    static std::wstring Context(const GUID* context) { return context ? L" " + GuidToString(*context) : L""; }
    HRESULT Note(std::wstring event) {
        events.push_back(std::move(event));
        return E_FAIL;  // the endpoint adapter must not pass it on to the platform
    }

    HRESULT QueryInterface(const GUID& iid, void** object) override {
        asked.push_back(iid);
        *object = nullptr;
        if (refuse) return E_NOINTERFACE;
        if (iid == IID_IUnknown || iid == IID_IMMNotificationClient)
            *object = static_cast<IMMNotificationClient*>(this);
        else if (iid == IID_IAudioSessionEvents)
            *object = static_cast<IAudioSessionEvents*>(this);
        else
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    HRESULT OnDeviceStateChanged(const wchar_t* id, uint32_t state) override {
        return Note(L"state " + Text(id) + L" " + std::to_wstring(state));
    }
    HRESULT OnDeviceAdded(const wchar_t* id) override { return Note(L"added " + Text(id)); }
    HRESULT OnDeviceRemoved(const wchar_t* id) override { return Note(L"removed " + Text(id)); }
    HRESULT OnDefaultDeviceChanged(EDataFlow flow, ERole role, const wchar_t* id) override {
        return Note(L"default " + std::to_wstring(flow) + L" " + std::to_wstring(role) + L" " + Text(id));
    }
    HRESULT OnPropertyValueChanged(const wchar_t* id, const PROPERTYKEY& key) override {
        return Note(L"property " + Text(id) + L" " + GuidToString(key.fmtid) + L"," + std::to_wstring(key.pid));
    }
    HRESULT OnDisplayNameChanged(const wchar_t* name, const GUID* context) override {
        return Note(L"name " + Text(name) + Context(context));
    }
    HRESULT OnIconPathChanged(const wchar_t*, const GUID*) override { return S_OK; }
    HRESULT OnSimpleVolumeChanged(float volume, bool mute, const GUID* context) override {
        return Note(FormatW(L"volume %g %d", volume, mute ? 1 : 0) + Context(context));
    }
    HRESULT OnChannelVolumeChanged(uint32_t count, const float* volumes, uint32_t, const GUID*) override {
        std::wstring text = L"channels";
        for (uint32_t i = 0; i < count; ++i) text += FormatW(L" %g", volumes[i]);
        return Note(text);
    }
    HRESULT OnGroupingParamChanged(const GUID& grouping, const GUID*) override {
        return Note(L"grouping " + GuidToString(grouping));
    }
    HRESULT OnStateChanged(AudioSessionState state) override { return Note(L"state " + std::to_wstring(state)); }
    HRESULT OnSessionDisconnected(AudioSessionDisconnectReason reason) override {
        return Note(L"disconnected " + std::to_wstring(reason));
    }
    HRESULT OnSessionCreated(IAudioSessionControl* session) override {
        sessions.emplace_back(session);
        return S_OK;
    }

    bool refuse = false;
    std::vector<GUID> asked;
    std::vector<std::wstring> events;
    std::vector<CRefPtr<IAudioSessionControl>> sessions;
};

// ---- The platform's side: one session, as Core Audio's behaves.

class FakeComSession : public ::IAudioSessionControl2 {
public:
    explicit FakeComSession(bool hasControl2) : m_hasControl2(hasControl2) {}

    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        if (iid == __uuidof(::IUnknown) || iid == __uuidof(::IAudioSessionControl) ||
            (m_hasControl2 && iid == __uuidof(::IAudioSessionControl2))) {
            AddRef();
            *object = static_cast<::IAudioSessionControl2*>(this);
            return S_OK;
        }
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
    ULONG STDMETHODCALLTYPE Release() override { return --count; }  // lives on the test's stack

    ::HRESULT STDMETHODCALLTYPE GetState(::AudioSessionState* state) override {
        *state = ::AudioSessionStateActive;
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE GetDisplayName(LPWSTR* name) override { return Hand(L"Player", name); }
    ::HRESULT STDMETHODCALLTYPE SetDisplayName(LPCWSTR, LPCGUID) override { return E_NOTIMPL; }
    // Wine's answer: a failure that still leaves the out-parameter alone.
    ::HRESULT STDMETHODCALLTYPE GetIconPath(LPWSTR*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE SetIconPath(LPCWSTR, LPCGUID) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetGroupingParam(::GUID* grouping) override {
        *grouping = __uuidof(::IAudioSessionEvents);
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE SetGroupingParam(LPCGUID, LPCGUID) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE RegisterAudioSessionNotification(::IAudioSessionEvents* events) override {
        if (refuseRegistration) return E_OUTOFMEMORY;
        registered.emplace_back(events);  // the platform holds a reference
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE UnregisterAudioSessionNotification(::IAudioSessionEvents* events) override {
        for (auto it = registered.begin(); it != registered.end(); ++it)
            if (it->get() == events) {
                registered.erase(it);
                return S_OK;
            }
        return E_INVALIDARG;
    }
    ::HRESULT STDMETHODCALLTYPE GetSessionIdentifier(LPWSTR* id) override { return Hand(L"session-id", id); }
    ::HRESULT STDMETHODCALLTYPE GetSessionInstanceIdentifier(LPWSTR* id) override { return Hand(L"instance-id", id); }
    ::HRESULT STDMETHODCALLTYPE GetProcessId(DWORD* processId) override {
        *processId = 4242;
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE IsSystemSoundsSession() override { return S_FALSE; }
    ::HRESULT STDMETHODCALLTYPE SetDuckingPreference(WINBOOL) override { return E_NOTIMPL; }

    ULONG count = 1;
    bool refuseRegistration = false;
    std::vector<CRefPtr<::IAudioSessionEvents>> registered;

private:
    static ::HRESULT Hand(const wchar_t* text, LPWSTR* out) {
        const size_t bytes = (wcslen(text) + 1) * sizeof(wchar_t);
        *out = static_cast<LPWSTR>(::CoTaskMemAlloc(bytes));
        memcpy(*out, text, bytes);
        return S_OK;
    }
    const bool m_hasControl2;
};

// Any id will do as an event context; this one has a twin among the model's.
const ::GUID kWindowsContext = __uuidof(::IMMEndpoint);

// The adapters ask the model by the model's own interface ids, and the model
// reads property keys by its own constants: each must be the platform's.
TEST(Win32AudioIds, TheModelsInterfaceIdsAndNameKeyAreThePlatforms) {
    EXPECT_EQ(FromWindowsGuid(__uuidof(::IUnknown)), IID_IUnknown);
    EXPECT_EQ(FromWindowsGuid(__uuidof(::IMMNotificationClient)), IID_IMMNotificationClient);
    EXPECT_EQ(FromWindowsGuid(__uuidof(::IMMEndpoint)), IID_IMMEndpoint);
    EXPECT_EQ(FromWindowsGuid(__uuidof(::IAudioSessionManager2)), IID_IAudioSessionManager2);
    EXPECT_EQ(FromWindowsGuid(__uuidof(::IAudioSessionControl2)), IID_IAudioSessionControl2);
    EXPECT_EQ(FromWindowsGuid(__uuidof(::IAudioSessionEvents)), IID_IAudioSessionEvents);
    EXPECT_EQ(FromWindowsGuid(__uuidof(::IAudioSessionNotification)), IID_IAudioSessionNotification);
    EXPECT_EQ(FromWindowsPropertyKey(::PKEY_Device_FriendlyName), PKEY_Device_FriendlyName);
}

// ---- The endpoint client's adapter

TEST(Win32EndpointNotificationAdapter, ForwardsEventsAsTheyComeAndAnswersTheModelsQueryAsItself) {
    auto client = MakeRef<RecordingCallbacks>();
    auto* adapter = new CWin32EndpointNotificationAdapter(client.get());
    ::IMMNotificationClient* platformSide = adapter;

    EXPECT_EQ(platformSide->OnDeviceStateChanged(L"{a}", 8), S_OK);
    EXPECT_EQ(platformSide->OnDefaultDeviceChanged(::eCapture, ::eCommunications, nullptr), S_OK);
    ::PROPERTYKEY key{};
    key.fmtid = {0xA1784D91, 0x5E58, 0x49C4, {0xA5, 0xFC, 0xA3, 0x3D, 0xC8, 0xB6, 0x6A, 0x19}};
    key.pid = 3;
    EXPECT_EQ(platformSide->OnPropertyValueChanged(L"{b}", key), S_OK);
    const std::wstring contentType =
        GuidToString(PKEY_AudioContentType_EFX.fmtid) + L"," + std::to_wstring(PKEY_AudioContentType_EFX.pid);
    EXPECT_EQ(client->events,
              (std::vector<std::wstring>{L"state {a} 8", L"default 1 2 (null)", L"property {b} " + contentType}));

    void* answer = nullptr;
    ASSERT_EQ(platformSide->QueryInterface(__uuidof(::IMMNotificationClient), &answer), S_OK);
    EXPECT_EQ(answer, platformSide);
    static_cast<::IUnknown*>(answer)->Release();
    ASSERT_EQ(platformSide->QueryInterface(__uuidof(::IUnknown), &answer), S_OK);
    static_cast<::IUnknown*>(answer)->Release();
    // The model was asked by its own ids, and what it answered went back.
    EXPECT_EQ(client->asked, (std::vector<GUID>{IID_IMMNotificationClient, IID_IUnknown}));
    EXPECT_EQ(platformSide->QueryInterface(__uuidof(::IMMDevice), &answer), E_NOINTERFACE);
    EXPECT_EQ(answer, nullptr);
    EXPECT_EQ(client->asked.size(), 2u);

    // A disposed client refuses every question: the adapter then does too.
    client->refuse = true;
    EXPECT_EQ(platformSide->QueryInterface(__uuidof(::IMMNotificationClient), &answer), E_NOINTERFACE);
    EXPECT_EQ(answer, nullptr);

    // Detached, the adapter outlives the client: nothing reaches it any more.
    adapter->Detach();
    CWeakRefPtr<RecordingCallbacks> gone(client);
    client = nullptr;
    EXPECT_FALSE(gone.Lock()) << "the adapter must not keep the model's client alive";
    EXPECT_EQ(platformSide->OnDeviceAdded(L"{c}"), S_OK);
    EXPECT_EQ(platformSide->QueryInterface(__uuidof(::IUnknown), &answer), E_NOINTERFACE);
    EXPECT_EQ(platformSide->Release(), 0u);
}

// ---- The session control and its adapters

TEST(Win32SessionControl, ForwardsEveryCallAndIsItsOwnSecondInterfaceWhereThePlatformHasIt) {
    FakeComSession session(true);
    {
        auto control = MakeRef<CWin32SessionControl>(CRefPtr<::IAudioSessionControl>(&session));
        AudioSessionState state = AudioSessionStateExpired;
        EXPECT_EQ(control->GetState(state), S_OK);
        EXPECT_EQ(state, AudioSessionStateActive);
        std::wstring text = L"stale";
        EXPECT_EQ(control->GetDisplayName(text), S_OK);
        EXPECT_EQ(text, L"Player");
        text = L"stale";
        EXPECT_EQ(control->GetIconPath(text), E_NOTIMPL);
        EXPECT_TRUE(text.empty());
        GUID grouping;
        EXPECT_EQ(control->GetGroupingParam(grouping), S_OK);
        EXPECT_EQ(grouping, IID_IAudioSessionEvents);

        CRefPtr<IAudioSessionControl2> control2;
        ASSERT_EQ(control->QueryInterface(control2), S_OK);
        EXPECT_EQ(static_cast<IAudioSessionControl*>(control2.get()),
                  static_cast<IAudioSessionControl*>(control.get()));
        EXPECT_EQ(control2->GetSessionIdentifier(text), S_OK);
        EXPECT_EQ(text, L"session-id");
        EXPECT_EQ(control2->GetSessionInstanceIdentifier(text), S_OK);
        EXPECT_EQ(text, L"instance-id");
        uint32_t processId = 0;
        EXPECT_EQ(control2->GetProcessId(processId), S_OK);
        EXPECT_EQ(processId, 4242u);
        EXPECT_EQ(control2->IsSystemSoundsSession(), S_FALSE);
    }
    EXPECT_EQ(session.count, 1u) << "every reference to the platform's session went back";

    // Without the second interface, its calls fail with the platform's answer.
    FakeComSession bare(false);
    auto control = MakeRef<CWin32SessionControl>(CRefPtr<::IAudioSessionControl>(&bare));
    CRefPtr<IAudioSessionControl2> control2;
    EXPECT_EQ(control->QueryInterface(control2), E_NOINTERFACE);
    EXPECT_FALSE(control2);
    uint32_t processId = 7;
    EXPECT_EQ(control->GetProcessId(processId), E_NOINTERFACE);
    EXPECT_EQ(processId, 7u);
}

TEST(Win32SessionControl, EventsReachTheModelConvertedThroughOneAdapterThatTheRegistrationTakesBack) {
    FakeComSession session(true);
    auto control = MakeRef<CWin32SessionControl>(CRefPtr<::IAudioSessionControl>(&session));
    auto events = MakeRef<RecordingCallbacks>();
    ASSERT_EQ(control->RegisterAudioSessionNotification(events.get()), S_OK);
    ASSERT_EQ(session.registered.size(), 1u);
    ::IAudioSessionEvents* platformSide = session.registered[0].get();

    platformSide->OnDisplayNameChanged(L"Movie", &kWindowsContext);
    platformSide->OnDisplayNameChanged(nullptr, nullptr);
    platformSide->OnSimpleVolumeChanged(0.25f, 1, nullptr);
    float volumes[2] = {0.5f, 1.0f};
    platformSide->OnChannelVolumeChanged(2, volumes, 1, nullptr);
    // A count without its array is no channels, not a read through null.
    platformSide->OnChannelVolumeChanged(2, nullptr, 0, nullptr);
    platformSide->OnGroupingParamChanged(nullptr, nullptr);
    platformSide->OnGroupingParamChanged(&kWindowsContext, nullptr);
    platformSide->OnStateChanged(::AudioSessionStateExpired);
    platformSide->OnSessionDisconnected(::DisconnectReasonExclusiveModeOverride);
    const std::wstring context = GuidToString(IID_IMMEndpoint);
    EXPECT_EQ(events->events,
              (std::vector<std::wstring>{L"name Movie " + context, L"name (null)", L"volume 0.25 1", L"channels 0.5 1",
                                         L"channels", L"grouping " + GuidToString(GUID{}), L"grouping " + context,
                                         L"state " + std::to_wstring(AudioSessionStateExpired),
                                         L"disconnected " + std::to_wstring(DisconnectReasonExclusiveModeOverride)}));
    void* answer = nullptr;
    ASSERT_EQ(platformSide->QueryInterface(__uuidof(::IAudioSessionEvents), &answer), S_OK);
    EXPECT_EQ(answer, platformSide);
    platformSide->Release();

    // Registered, the model's object lives as long as the adapter; taken
    // back, both go.
    RecordingCallbacks* model = events.get();
    CWeakRefPtr<RecordingCallbacks> held(events);
    events = nullptr;
    ASSERT_TRUE(held.Lock());
    EXPECT_EQ(control->UnregisterAudioSessionNotification(model), S_OK) << "not the adapter it registered";
    EXPECT_TRUE(session.registered.empty());
    EXPECT_FALSE(held.Lock());

    // Nothing is left to unregister, nor after a refused registration.
    events = MakeRef<RecordingCallbacks>();
    EXPECT_EQ(control->UnregisterAudioSessionNotification(events.get()), E_INVALIDARG);
    session.refuseRegistration = true;
    EXPECT_EQ(control->RegisterAudioSessionNotification(events.get()), E_OUTOFMEMORY);
    EXPECT_EQ(control->UnregisterAudioSessionNotification(events.get()), E_INVALIDARG);
}

TEST(Win32SessionNotificationAdapter, ANewSessionReachesTheModelAsAControlItMayKeep) {
    FakeComSession session(true);
    auto notification = MakeRef<RecordingCallbacks>();
    ::IAudioSessionNotification* platformSide = new CWin32SessionNotificationAdapter(notification.get());

    EXPECT_EQ(platformSide->OnSessionCreated(&session), S_OK);
    EXPECT_EQ(platformSide->OnSessionCreated(nullptr), S_OK);
    ASSERT_EQ(notification->sessions.size(), 2u);
    EXPECT_FALSE(notification->sessions[1]);
    ASSERT_TRUE(notification->sessions[0]);
    EXPECT_GT(session.count, 1u) << "the kept control holds the platform's session";
    std::wstring name;
    EXPECT_EQ(notification->sessions[0]->GetDisplayName(name), S_OK);
    EXPECT_EQ(name, L"Player");

    notification->sessions.clear();
    EXPECT_EQ(session.count, 1u);
    EXPECT_EQ(platformSide->Release(), 0u);
}

}  // namespace
}  // namespace qv
