// Lifetimes around the audio port: objects that outlive their enumerator,
// the last reference going inside a callback, and the loss and return of
// the sound server.
#include <signal.h>

#include <atomic>

#include "pulse_server_fixture.h"
#include "support/callback_recorders.h"
#include "test_child.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

class PulseServerLifetimeTest : public PulseServerFixture {};

// A notification that lets go of the manager it was handed, from within
// its one callback, and keeps nothing of the session.
class CLettingGoNotification : public CAddReleaseRef, public IAudioSessionNotification {
public:
    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT OnSessionCreated(IAudioSessionControl*) override {
        held = nullptr;
        calls.fetch_add(1);
        return S_OK;
    }
    CRefPtr<IAudioSessionManager2> held;
    std::atomic<int> calls{0};
};

uint32_t ReferencesOf(IAddReleaseRef* object) {
    object->AddRef();
    return object->Release();
}

TEST_F(PulseServerLifetimeTest, ObjectsWorkAfterTheEnumeratorAndAreReleasedFromAnyThread) {
    CRefPtr<IMMDevice> spk = Device(L"spk");
    CRefPtr<IAudioSessionManager2> manager = Manager(spk.get());
    enumerator = nullptr;
    TestChild pacat({"pacat", "--playback", "-d", "spk", "/dev/zero"});
    CRefPtr<IAudioSessionControl2> session = WaitForSessionOf(spk.get(), static_cast<uint32_t>(pacat.Pid()));
    ASSERT_TRUE(session) << "the connection lives on with the objects made from it";
    EXPECT_EQ(StateOf(spk.get()), DEVICE_STATE_ACTIVE);
    std::thread([held = std::move(session)]() mutable { held = nullptr; }).join();
    std::thread([held = std::move(manager)]() mutable { held = nullptr; }).join();
    std::thread([held = std::move(spk)]() mutable { held = nullptr; }).join();
}

TEST_F(PulseServerLifetimeTest, LastReferenceMayGoInsideACallback) {
    auto notification = MakeRef<CLettingGoNotification>();
    {
        CRefPtr<IMMDevice> spk = Device(L"spk");
        notification->held = Manager(spk.get());
        ASSERT_EQ(notification->held->RegisterSessionNotification(notification.get()), S_OK);
    }
    enumerator = nullptr;
    EXPECT_EQ(ReferencesOf(notification.get()), 2u) << "the registration holds it";
    // The notification alone now keeps the connection; it lets go of it in
    // the callback, on the port's own thread, which then ends the
    // connection without waiting for itself.
    TestChild pacat({"pacat", "--playback", "-d", "spk", "/dev/zero"});
    WaitUntil([&] { return ReferencesOf(notification.get()) == 1; });
    EXPECT_EQ(notification->calls.load(), 1);
    EXPECT_EQ(ReferencesOf(notification.get()), 1u) << "the ended connection let go of its registration";
}

TEST_F(PulseServerLifetimeTest, LostServerFailsTheCallsAndTheNextCallReconnects) {
    auto client = MakeRef<FakeEndpointClient>();
    ASSERT_EQ(RegisterForTheTest(enumerator.get(), client.get()), S_OK);
    CRefPtr<IMMDevice> spk = Device(L"spk");
    TestChild pacat({"pacat", "--playback", "-d", "spk", "/dev/zero"});
    CRefPtr<IAudioSessionControl2> session = WaitForSessionOf(spk.get(), static_cast<uint32_t>(pacat.Pid()));
    ASSERT_TRUE(session);
    auto events = MakeRef<FakeSessionEvents>();
    ASSERT_EQ(RegisterForTheTest(session.get(), events.get()), S_OK);

    SoundServer::Get().Stop();
    // PulseAudio dies with its streams, which the port then disconnects;
    // PipeWire's server may remove the stream first, which expires it.
    ASSERT_TRUE(events->Log.WaitFor(
        [](const std::vector<std::wstring>& calls) {
            for (const std::wstring& call : calls)
                if (call == L"disconnected " + std::to_wstring(DisconnectReasonServerShutdown) ||
                    call == L"state " + std::to_wstring(AudioSessionStateExpired))
                    return true;
            return false;
        },
        std::chrono::seconds(30)));
    CRefPtr<IMMDeviceCollection> devices;
    EXPECT_EQ(enumerator->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, devices), AUDCLNT_E_SERVICE_NOT_RUNNING);
    uint32_t state = 0;
    EXPECT_EQ(spk->GetState(state), AUDCLNT_E_SERVICE_NOT_RUNNING);
    AudioSessionState sessionState;
    EXPECT_EQ(session->GetState(sessionState), AUDCLNT_E_SERVICE_NOT_RUNNING);
    pacat.Kill(SIGKILL);

    client->Log.Clear();
    ASSERT_TRUE(SoundServer::Get().Start());
    // The port tries again on its own, and at once when asked (but at most
    // every half second), so within moments a call succeeds.
    HRESULT hr = E_FAIL;
    WaitUntil([&] { return (hr = enumerator->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, devices)) == S_OK; });
    ASSERT_EQ(hr, S_OK);
    EXPECT_EQ(StateOf(spk.get()), DEVICE_STATE_ACTIVE) << "an endpoint is named by its id, and works again";
    // A restart is no new device: once the default is back, which needs
    // its endpoint back, nothing has been said of the endpoints it had.
    // PipeWire shows a placeholder sink, auto_null, until the test's sinks
    // are made again; that one is new, and goes.
    ASSERT_TRUE(client->Log.WaitForCall(L"default 0 2 spk"));
    for (const std::wstring& call : client->Log.Calls())
        EXPECT_TRUE(call.ends_with(L" auto_null") || call.find(L" auto_null ") != std::wstring::npos ||
                    (call.rfind(L"added", 0) != 0 && call.rfind(L"removed", 0) != 0 && call.rfind(L"state", 0) != 0))
            << "after the restart: " << call;
    EXPECT_EQ(session->GetState(sessionState), AUDCLNT_E_SERVICE_NOT_RUNNING)
        << "a session of the old connection is over for good";
    EXPECT_EQ(session->UnregisterAudioSessionNotification(events.get()), S_OK);
    EXPECT_EQ(enumerator->UnregisterEndpointNotificationCallback(client.get()), S_OK);
}

}  // namespace
}  // namespace qv::test
