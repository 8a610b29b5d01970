// The simulated sessions: what enumeration and notification show, their
// identifiers, and the events of a session.
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/sim/sim_audio.h"
#include "support/test_doubles.h"

namespace qv::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Ne;

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

TEST_F(SimAudioSessions, AnAnnouncedSessionIsNotifiedAsTheEnumeratedObjectAndAQuietOneIsOnlyEnumerated) {
    auto notification = MakeRef<FakeSessionNotification>();
    ASSERT_EQ(manager->RegisterSessionNotification(notification.get()), S_OK);
    std::wstring expired = audio->AddSession(kSpeakers, {.state = AudioSessionStateExpired, .announce = false});
    std::wstring id = audio->AddSession(kSpeakers, {.processId = 1200, .displayName = L"Player"});
    ASSERT_FALSE(id.empty());
    ASSERT_TRUE(audio->WaitUntilDelivered());

    EXPECT_THAT(notification->Log.Calls(), ElementsAre(L"created " + id));
    EXPECT_THAT(notification->Log.Threads(), Each(Ne(std::this_thread::get_id())));
    EXPECT_THAT(Enumerate(), ElementsAre(expired, id));
    ASSERT_EQ(notification->Sessions().size(), 1u);
    EXPECT_EQ(notification->Sessions()[0], ControlOf(id));
    AudioSessionState state = AudioSessionStateInactive;
    ASSERT_EQ(ControlOf(expired)->GetState(state), S_OK);
    EXPECT_EQ(state, AudioSessionStateExpired);
    EXPECT_EQ(manager->UnregisterSessionNotification(notification.get()), S_OK);
}

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

TEST_F(SimAudioSessions, IdentifiersAreTheGivenOnesOrMadeUpApartAndNameOneSessionOnly) {
    std::wstring given =
        audio->AddSession(kSpeakers, {.instanceIdentifier = L"instance-1", .sessionIdentifier = L"session-1"});
    std::wstring a = audio->AddSession(kSpeakers, {.processId = 7});
    std::wstring b = audio->AddSession(kSpeakers, {.processId = 7});
    EXPECT_EQ(given, L"instance-1");
    EXPECT_NE(a, b);
    std::wstring sessionGiven, sessionA, sessionB;
    Control2(ControlOf(given))->GetSessionIdentifier(sessionGiven);
    Control2(ControlOf(a))->GetSessionIdentifier(sessionA);
    Control2(ControlOf(b))->GetSessionIdentifier(sessionB);
    EXPECT_EQ(sessionGiven, L"session-1");
    EXPECT_FALSE(sessionA.empty());
    EXPECT_NE(sessionA, sessionB);
    EXPECT_TRUE(audio->AddSession(kSpeakers, {.instanceIdentifier = L"instance-1"}).empty());
    EXPECT_TRUE(audio->AddSession(L"no such endpoint", {}).empty());
}

TEST_F(SimAudioSessions, EventsReachTheRegisteredObjectsOfTheirSessionInOrderWithTheirValues) {
    std::wstring other = audio->AddSession(kSpeakers, {});
    std::wstring id = audio->AddSession(kSpeakers, {});
    auto control = ControlOf(id);
    auto events = MakeRef<FakeSessionEvents>();
    ASSERT_EQ(control->RegisterAudioSessionNotification(events.get()), S_OK);
    EXPECT_EQ(audio->SessionEventsCount(id), 1u);

    const GUID grouping{0xABCDEF01, 0x2345, 0x6789, {0xAB, 0xCD, 0xEF, 0, 1, 2, 3, 4}};
    ASSERT_TRUE(audio->SetSessionState(other, AudioSessionStateActive));
    EXPECT_FALSE(audio->SetSessionState(L"nobody", AudioSessionStateActive));
    ASSERT_TRUE(audio->SetSessionState(id, AudioSessionStateActive));
    ASSERT_TRUE(audio->SetSessionDisplayName(id, L"Talk"));
    ASSERT_TRUE(audio->SetSessionIconPath(id, L"talk.ico"));
    ASSERT_TRUE(audio->SetSessionVolume(id, 0.5f, true));
    ASSERT_TRUE(audio->SetSessionChannelVolumes(id, {0.25f, 0.75f}, 1));
    ASSERT_TRUE(audio->SetSessionGroupingParam(id, grouping));
    ASSERT_TRUE(audio->SetSessionState(id, AudioSessionStateExpired));
    ASSERT_TRUE(audio->DisconnectSession(id, DisconnectReasonExclusiveModeOverride));
    ASSERT_TRUE(audio->WaitUntilDelivered());

    EXPECT_THAT(events->Log.Calls(), ElementsAre(L"state 1", L"name Talk", L"icon talk.ico", L"volume 0.500000 muted",
                                                 L"channels 0.250000 0.750000 changed 1",
                                                 L"grouping " + GuidToString(grouping), L"state 2", L"disconnected 5"));
    EXPECT_THAT(events->Log.Threads(), Each(Ne(std::this_thread::get_id())));

    // The reads follow the events.
    std::wstring name;
    AudioSessionState state{};
    ASSERT_EQ(control->GetDisplayName(name), S_OK);
    EXPECT_EQ(name, L"Talk");
    ASSERT_EQ(control->GetState(state), S_OK);
    EXPECT_EQ(state, AudioSessionStateExpired);
    EXPECT_EQ(control->UnregisterAudioSessionNotification(events.get()), S_OK);
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

TEST_F(SimAudioSessions, RegisteringForEventsFailsWhileTheEndpointIsNotActiveOrTheSessionIsDisconnected) {
    std::wstring id = audio->AddSession(kSpeakers, {});
    auto control = ControlOf(id);
    auto events = MakeRef<FakeSessionEvents>();

    ASSERT_TRUE(audio->SetEndpointState(kSpeakers, DEVICE_STATE_UNPLUGGED));
    EXPECT_EQ(control->RegisterAudioSessionNotification(events.get()), AUDCLNT_E_DEVICE_INVALIDATED);
    ASSERT_TRUE(audio->SetEndpointState(kSpeakers, DEVICE_STATE_ACTIVE));
    ASSERT_EQ(control->RegisterAudioSessionNotification(events.get()), S_OK);
    ASSERT_EQ(control->UnregisterAudioSessionNotification(events.get()), S_OK);

    ASSERT_TRUE(audio->DisconnectSession(id, DisconnectReasonDeviceRemoval));
    EXPECT_EQ(control->RegisterAudioSessionNotification(events.get()), AUDCLNT_E_DEVICE_INVALIDATED);
    EXPECT_TRUE(Enumerate().empty());

    // A session added to an endpoint that is not active cannot register either.
    ASSERT_TRUE(audio->SetEndpointState(kSpeakers, DEVICE_STATE_DISABLED));
    std::wstring later = audio->AddSession(kSpeakers, {});
    EXPECT_EQ(ControlOf(later)->RegisterAudioSessionNotification(events.get()), AUDCLNT_E_DEVICE_INVALIDATED);
}

}  // namespace
}  // namespace qv::test
