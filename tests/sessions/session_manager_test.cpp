// The sessions of one endpoint: what the manager asks of the platform, how
// sessions come and go in its three collections, and what arrives after the
// manager has gone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "support/model_fixture.h"
#include "support/observable_watchers.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";

std::string StateOf(const CRefPtr<CAudioSession>& session) { return "state " + std::to_string(session->State.value()); }

class SessionManagerTest : public ModelTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender, endpointState));
        devices = StartDeviceManager({kSpeakers});
        Settle();
        speakers = FindDevice(*devices, kSpeakers);
        ASSERT_TRUE(speakers);
    }
    uint64_t PlatformCalls() const {
        uint64_t calls = 0;
        for (const wchar_t* operation :
             {L"IMMDevice::Activate", L"IAudioSessionManager2::GetSessionEnumerator",
              L"IAudioSessionManager2::RegisterSessionNotification", L"IAudioSessionEnumerator::GetCount"})
            calls += h.platform->SimAudio->CallCount(operation);
        return calls;
    }

    uint32_t endpointState = DEVICE_STATE_ACTIVE;
    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CAudioDevice> speakers;
    std::vector<std::string> log;
};

TEST_F(SessionManagerTest, AnEndpointWithoutSessionsIsStillWatchedForNewOnes) {
    auto manager = WatchSessions(speakers);
    EXPECT_TRUE(manager->audioSessions.empty());
    EXPECT_EQ(Audio().SessionNotificationCount(kSpeakers), 1u);

    // The registration is what brings a later session in.
    std::wstring id = Audio().AddSession(kSpeakers, {.processId = 0, .state = AudioSessionStateActive});
    Settle();
    ASSERT_EQ(manager->audioSessions.size(), 1u);
    EXPECT_EQ(FindSession(manager->audioSessions, id), manager->audioSessions[0]);
    EXPECT_EQ(manager->activeAudioSessions.size(), 1u);

    manager = nullptr;
    EXPECT_EQ(Audio().SessionNotificationCount(kSpeakers), 0u);
}

class InactiveEndpointTest : public SessionManagerTest {
protected:
    InactiveEndpointTest() { endpointState = DEVICE_STATE_UNPLUGGED; }
};

TEST_F(InactiveEndpointTest, AManagerOfAnInactiveEndpointAsksThePlatformNothing) {
    Audio().AddSession(kSpeakers, {.state = AudioSessionStateActive, .announce = false});
    const uint64_t before = PlatformCalls();
    auto manager = WatchSessions(speakers);
    Settle();
    EXPECT_EQ(PlatformCalls(), before);
    EXPECT_FALSE(manager->AudioSessionManager2.value());
    EXPECT_TRUE(manager->audioSessions.empty());
    EXPECT_EQ(Audio().SessionNotificationCount(kSpeakers), 0u);

    // Turning active builds it all; turning inactive takes it all down, and
    // the next turn builds new session objects.
    ASSERT_TRUE(Audio().SetEndpointState(kSpeakers, DEVICE_STATE_ACTIVE));
    Settle();
    ASSERT_EQ(manager->audioSessions.size(), 1u);
    EXPECT_EQ(manager->activeAudioSessions.size(), 1u);
    CWeakRefPtr<CAudioSession> first(manager->audioSessions[0]);

    ASSERT_TRUE(Audio().SetEndpointState(kSpeakers, DEVICE_STATE_UNPLUGGED));
    Settle();
    EXPECT_TRUE(manager->audioSessions.empty());
    EXPECT_TRUE(manager->activeAudioSessions.empty());
    EXPECT_FALSE(manager->AudioSessionManager2.value());
    EXPECT_EQ(Audio().SessionNotificationCount(kSpeakers), 0u);
    EXPECT_FALSE(first.Lock());

    ASSERT_TRUE(Audio().SetEndpointState(kSpeakers, DEVICE_STATE_ACTIVE));
    Settle();
    ASSERT_EQ(manager->audioSessions.size(), 1u);
    EXPECT_NE(CWeakRefPtr<CAudioSession>(manager->audioSessions[0]), first);
}

TEST_F(SessionManagerTest, AFailedActivationLeavesTheManagerEmpty) {
    Audio().Fail(L"IMMDevice::Activate", E_ACCESSDENIED, kSpeakers);
    Audio().AddSession(kSpeakers, {.announce = false});
    auto manager = WatchSessions(speakers);
    EXPECT_TRUE(h.Traced(L"Failed to activate audio session manager with error code -2147024891.\n"));
    EXPECT_FALSE(manager->AudioSessionManager2.value());
    EXPECT_TRUE(manager->audioSessions.empty());
    EXPECT_EQ(Audio().CallCount(L"IAudioSessionManager2::GetSessionEnumerator"), 0u);
}

TEST_F(SessionManagerTest, AnExpiredSessionIsSeenComingAndGoingOnce) {
    std::wstring expired = Audio().AddSession(kSpeakers, {.state = AudioSessionStateExpired, .announce = false});
    std::wstring other = Audio().AddSession(kSpeakers, {.announce = false});
    // Watched from before the manager has a device, so that the watchers see
    // every event live.
    CRefPtr<CAudioSessionManager> manager;
    manager.Attach(new CAudioSessionManager(kSpeakers, h.trace, h.dispatcher, h.log));
    CollectionWatcher all(manager->audioSessions, "all", log, &StateOf);
    CollectionWatcher active(manager->activeAudioSessions, "active", log, &StateOf);
    manager->AudioDevice.set(speakers);

    // In during the enumeration, read as expired at the subscription.
    EXPECT_THAT(log, ElementsAre("all added state 0", "all added state 0"));
    ASSERT_EQ(manager->audioSessions.size(), 2u);
    EXPECT_EQ(manager->audioSessions[0]->State.value(), AudioSessionStateExpired);
    CWeakRefPtr<CAudioSession> session(manager->audioSessions[0]);

    // The session and the manager each post a removal, the disconnection a
    // third; only the first finds the session, and the others take nothing.
    ASSERT_TRUE(Audio().DisconnectSession(expired, DisconnectReasonSessionLogoff));
    Settle();
    EXPECT_THAT(log, ElementsAre("all added state 0", "all added state 0", "all removed state 2"));
    ASSERT_EQ(manager->audioSessions.size(), 1u);
    EXPECT_EQ(FindSession(manager->audioSessions, other), manager->audioSessions[0]);
    EXPECT_FALSE(session.Lock());
}

TEST_F(SessionManagerTest, AStoppedSessionLeavesTheActiveListAndARemovedOneLeavesItFirst) {
    std::wstring id = Audio().AddSession(kSpeakers, {.state = AudioSessionStateActive, .announce = false});
    auto manager = WatchSessions(speakers);
    CollectionWatcher all(manager->audioSessions, "all", log, &StateOf);
    CollectionWatcher active(manager->activeAudioSessions, "active", log, &StateOf);
    ASSERT_THAT(log, ElementsAre("all added state 1", "active added state 1"));
    log.clear();

    // Its state still reads active while it leaves.
    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateInactive));
    Settle();
    EXPECT_THAT(log, ElementsAre("active removed state 1"));
    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateActive));
    Settle();
    EXPECT_THAT(log, ElementsAre("active removed state 1", "active added state 1"));
    log.clear();

    ASSERT_TRUE(Audio().DisconnectSession(id, DisconnectReasonDeviceRemoval));
    Settle();
    // Still active in both handlers: it leaves the active list inside the
    // removal from the list of all.
    EXPECT_THAT(log, ElementsAre("active removed state 1", "all removed state 1"));
    EXPECT_TRUE(manager->audioSessions.empty());
    EXPECT_TRUE(manager->activeAudioSessions.empty());
    EXPECT_EQ(Audio().SessionEventsCount(id), 0u);
}

TEST_F(SessionManagerTest, ANewSessionAfterTheManagerHasGoneIsOnlyAskedItsState) {
    // The unregistering fails, so the platform keeps calling the manager's
    // notification object after the manager has gone.
    Audio().Fail(L"IAudioSessionManager2::UnregisterSessionNotification", E_FAIL);
    auto manager = WatchSessions(speakers);
    manager = nullptr;
    EXPECT_TRUE(h.Traced(L"Failed to unregister audio session notification callback with error code -2147467259.\n"));
    ASSERT_EQ(Audio().SessionNotificationCount(kSpeakers), 1u);
    h.ClearTrace();

    std::wstring id = Audio().AddSession(kSpeakers, {.processId = 0, .state = AudioSessionStateActive});
    ASSERT_TRUE(Audio().WaitUntilDelivered());
    EXPECT_EQ(Audio().CallCount(L"IAudioSessionControl::GetState", id), 1u);
    EXPECT_EQ(Audio().CallCount(L"IAudioSessionControl::QueryInterface", id), 0u);
    EXPECT_EQ(h.RunPending(), 0u);
    EXPECT_FALSE(h.Traced(L"CAudioSession::CAudioSession"));
    EXPECT_EQ(Audio().SessionEventsCount(id), 0u);
}

TEST_F(SessionManagerTest, ASessionThatFailsToEnumerateIsSkippedAndOneWithoutItsInterfaceStaysSilent) {
    std::wstring broken = Audio().AddSession(kSpeakers, {.announce = false});
    std::wstring silent = Audio().AddSession(kSpeakers, {.state = AudioSessionStateActive, .announce = false});
    std::wstring fine = Audio().AddSession(kSpeakers, {.announce = false});
    Audio().Fail(L"IAudioSessionEnumerator::GetSession", E_FAIL, broken);
    Audio().Fail(L"IAudioSessionControl::QueryInterface", E_NOINTERFACE, silent);
    auto manager = WatchSessions(speakers);
    EXPECT_TRUE(h.Traced(L"Failed to access session control interface with error code -2147467259.\n"));
    EXPECT_TRUE(h.Traced(L"Failed to receive session control interface (2) with error code -2147467262.\n"));
    ASSERT_EQ(manager->audioSessions.size(), 2u);
    EXPECT_TRUE(FindSession(manager->audioSessions, fine));
    EXPECT_EQ(Audio().SessionNotificationCount(kSpeakers), 1u);

    // The silent one is in the collection, never registered, never read (so
    // not even its identifier).
    CRefPtr<CAudioSession> session = manager->audioSessions[0];
    if (session == FindSession(manager->audioSessions, fine)) session = manager->audioSessions[1];
    EXPECT_TRUE(manager->activeAudioSessions.empty());
    EXPECT_EQ(Audio().SessionEventsCount(silent), 0u);
    EXPECT_EQ(session->State.value(), AudioSessionStateInactive);
    EXPECT_TRUE(session->AudioSessionEvents.value());

    // A state event that somehow arrives has nothing to ask.
    session->OnStateChanged();
    EXPECT_TRUE(h.Traced(L"Audio session control interace is desiposed.\n"));
    EXPECT_EQ(session->State.value(), AudioSessionStateInactive);
    EXPECT_EQ(Audio().CallCount(L"IAudioSessionControl::GetState", silent), 0u);
}

}  // namespace
}  // namespace qv::test
