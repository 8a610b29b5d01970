// The simulated sessions where the model's tests cannot see them: an
// enumerator's snapshot, the references that registrations hold, when a
// registration is refused, and the reason of a disconnection. What the model reads of sessions and their
// events is checked by tests/sessions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/sim/sim_audio.h"
#include "support/test_doubles.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";

class SimAudioSessions : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender));
        CRefPtr<IMMDevice> device;
        ASSERT_EQ(audio->GetDevice(kSpeakers, device), S_OK);
        ASSERT_EQ(device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, manager), S_OK);
    }

    // The sessions that enumeration shows now, in its order.
    std::vector<CRefPtr<IAudioSessionControl>> Sessions() {
        std::vector<CRefPtr<IAudioSessionControl>> controls;
        CRefPtr<IAudioSessionEnumerator> sessions;
        EXPECT_EQ(manager->GetSessionEnumerator(sessions), S_OK);
        int32_t count = 0;
        EXPECT_EQ(sessions->GetCount(count), S_OK);
        for (int32_t i = 0; i < count; ++i) controls.push_back(Session(sessions, i));
        return controls;
    }
    std::vector<std::wstring> Enumerate() {
        std::vector<std::wstring> ids;
        for (const auto& control : Sessions()) ids.push_back(InstanceOf(control));
        return ids;
    }
    CRefPtr<IAudioSessionControl> ControlOf(const std::wstring& instance) {
        for (const auto& control : Sessions())
            if (InstanceOf(control) == instance) return control;
        return nullptr;
    }
    static CRefPtr<IAudioSessionControl> Session(const CRefPtr<IAudioSessionEnumerator>& sessions, int32_t index) {
        CRefPtr<IAudioSessionControl> control;
        EXPECT_EQ(sessions->GetSession(index, control), S_OK);
        return control;
    }
    static CRefPtr<IAudioSessionControl2> Control2(const CRefPtr<IAudioSessionControl>& control) {
        CRefPtr<IAudioSessionControl2> control2;
        EXPECT_EQ(control->QueryInterface(control2), S_OK);
        return control2;
    }
    static std::wstring InstanceOf(const CRefPtr<IAudioSessionControl>& control) {
        std::wstring id;
        EXPECT_EQ(Control2(control)->GetSessionInstanceIdentifier(id), S_OK);
        return id;
    }

    CRefPtr<CSimAudio> audio = MakeRef<CSimAudio>();
    CRefPtr<IAudioSessionManager2> manager;
};

TEST_F(SimAudioSessions, AnEnumeratorKeepsTheSessionsOfItsMoment) {
    std::wstring first = audio->AddSession(kSpeakers, {});
    CRefPtr<IAudioSessionEnumerator> sessions;
    ASSERT_EQ(manager->GetSessionEnumerator(sessions), S_OK);
    audio->AddSession(kSpeakers, {});
    ASSERT_TRUE(audio->RemoveSession(first));
    int32_t count = 0;
    ASSERT_EQ(sessions->GetCount(count), S_OK);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(InstanceOf(Session(sessions, 0)), first);
    CRefPtr<IAudioSessionControl> none;
    EXPECT_EQ(sessions->GetSession(1, none), E_INVALIDARG);
    EXPECT_EQ(sessions->GetSession(-1, none), E_INVALIDARG);
    EXPECT_EQ(Enumerate().size(), 1u);
}

TEST_F(SimAudioSessions, RegistrationsHoldAReferenceUntilUnregisteredOrTheMachineGoes) {
    std::wstring id = audio->AddSession(kSpeakers, {});
    auto control = ControlOf(id);
    auto events = MakeRef<FakeSessionEvents>();
    auto notification = MakeRef<FakeSessionNotification>();
    uint32_t eventsBefore = RefCount(events.get());
    uint32_t notificationBefore = RefCount(notification.get());

    ASSERT_EQ(control->RegisterAudioSessionNotification(events.get()), S_OK);
    ASSERT_EQ(manager->RegisterSessionNotification(notification.get()), S_OK);
    EXPECT_EQ(RefCount(events.get()), eventsBefore + 1);
    EXPECT_EQ(RefCount(notification.get()), notificationBefore + 1);
    EXPECT_EQ(audio->SessionNotificationCount(kSpeakers), 1u);

    ASSERT_EQ(control->UnregisterAudioSessionNotification(events.get()), S_OK);
    ASSERT_EQ(manager->UnregisterSessionNotification(notification.get()), S_OK);
    EXPECT_EQ(RefCount(events.get()), eventsBefore);
    EXPECT_EQ(RefCount(notification.get()), notificationBefore);
    EXPECT_EQ(audio->SessionNotificationCount(kSpeakers), 0u);

    EXPECT_EQ(control->UnregisterAudioSessionNotification(events.get()), E_NOTFOUND);
    EXPECT_EQ(manager->UnregisterSessionNotification(notification.get()), E_NOTFOUND);
    EXPECT_EQ(control->RegisterAudioSessionNotification(nullptr), E_POINTER);
    EXPECT_EQ(manager->RegisterSessionNotification(nullptr), E_POINTER);

    // The machine going away releases what is still registered.
    ASSERT_EQ(control->RegisterAudioSessionNotification(events.get()), S_OK);
    ASSERT_EQ(manager->RegisterSessionNotification(notification.get()), S_OK);
    ASSERT_TRUE(audio->SetSessionState(id, AudioSessionStateActive));
    audio->Shutdown();
    EXPECT_EQ(RefCount(events.get()), eventsBefore);
    EXPECT_EQ(RefCount(notification.get()), notificationBefore);
}

TEST_F(SimAudioSessions, RegisteringForEventsFailsWhileTheEndpointIsNotActiveOrOnceTheSessionIsDisconnected) {
    std::wstring id = audio->AddSession(kSpeakers, {});
    auto control = ControlOf(id);
    auto events = MakeRef<FakeSessionEvents>();

    ASSERT_TRUE(audio->SetEndpointState(kSpeakers, DEVICE_STATE_UNPLUGGED));
    EXPECT_EQ(control->RegisterAudioSessionNotification(events.get()), AUDCLNT_E_DEVICE_INVALIDATED);
    ASSERT_TRUE(audio->SetEndpointState(kSpeakers, DEVICE_STATE_ACTIVE));
    ASSERT_EQ(control->RegisterAudioSessionNotification(events.get()), S_OK);

    // The disconnection reaches the registered object with its reason (the
    // model takes no account of the reason, so only this test sees it).
    ASSERT_TRUE(audio->DisconnectSession(id, DisconnectReasonExclusiveModeOverride));
    ASSERT_TRUE(audio->WaitUntilDelivered());
    EXPECT_THAT(events->Log.Calls(), ElementsAre(L"disconnected 5"));
    EXPECT_EQ(control->RegisterAudioSessionNotification(events.get()), AUDCLNT_E_DEVICE_INVALIDATED);
    EXPECT_TRUE(Enumerate().empty());

    // A session added to an endpoint that is not active cannot register either.
    ASSERT_TRUE(audio->SetEndpointState(kSpeakers, DEVICE_STATE_DISABLED));
    std::wstring later = audio->AddSession(kSpeakers, {});
    EXPECT_EQ(ControlOf(later)->RegisterAudioSessionNotification(events.get()), AUDCLNT_E_DEVICE_INVALIDATED);
}

}  // namespace
}  // namespace qv::test
