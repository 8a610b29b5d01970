// The events of a session, from the platform's thread to the session's
// properties on the main thread: the one slot that any property event
// cancels, the order of what survives, and what is dropped once the manager
// has gone.
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "support/model_fixture.h"
#include "support/observable_watchers.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";

class SessionEventsTest : public ModelTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
        id = Audio().AddSession(kSpeakers, {.displayName = L"Player", .iconPath = L"player.ico", .announce = false});
        devices = StartDeviceManager({kSpeakers});
        Settle();
        manager = WatchSessions(FindDevice(*devices, kSpeakers));
        session = FindSession(manager->audioSessions, id);
        ASSERT_TRUE(session);
        ASSERT_EQ(Audio().SessionEventsCount(id), 1u);
    }
    // The platform raises the events one after another; the main thread
    // gets to them only when all have been delivered.
    void DeliverThenDispatch() {
        ASSERT_TRUE(Audio().WaitUntilDelivered());
        h.RunPending();
    }

    std::wstring id;
    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CAudioSessionManager> manager;
    CRefPtr<CAudioSession> session;
};

TEST_F(SessionEventsTest, EachPropertyEventReachesItsPropertyButANameFollowedAtOnceByAnotherIsLost) {
    // The registration reads the name and the icon; the volumes wait for
    // their first event.
    EXPECT_EQ(session->DisplayName.value(), L"Player");
    EXPECT_EQ(session->IconPath.value(), L"player.ico");
    EXPECT_THAT(session->ChannelVolume.value(), IsEmpty());
    PropertyWatcher volume(session->Volume);
    PropertyWatcher name(session->DisplayName);
    // Repeated events all take effect in order; a later name replaces one.
    ASSERT_TRUE(Audio().SetSessionVolume(id, 0.25f));
    ASSERT_TRUE(Audio().SetSessionVolume(id, 0.75f));
    ASSERT_TRUE(Audio().SetSessionDisplayName(id, L"First"));
    ASSERT_TRUE(Audio().SetSessionDisplayName(id, L"Second"));
    DeliverThenDispatch();
    EXPECT_THAT(volume.values, ElementsAre(0.25f, 0.75f));
    EXPECT_THAT(name.values, ElementsAre(L"Second"));

    // Each of the other property events drops a name just before it (one at
    // a time: a name also drops the name pending before it).
    const std::function<bool()> others[] = {[&] { return Audio().SetSessionVolume(id, 0.5f); },
                                            [&] { return Audio().SetSessionIconPath(id, L"film.ico"); },
                                            [&] { return Audio().SetSessionChannelVolumes(id, {0.5f}); },
                                            [&] { return Audio().SetSessionGroupingParam(id, GUID{7}); }};
    for (const auto& other : others) {
        ASSERT_TRUE(Audio().SetSessionDisplayName(id, L"Film"));
        ASSERT_TRUE(other());
        DeliverThenDispatch();
    }
    EXPECT_THAT(name.values, ElementsAre(L"Second"));
    EXPECT_EQ(session->Volume.value(), 0.5f);
    EXPECT_EQ(session->IconPath.value(), L"film.ico");
    EXPECT_THAT(session->ChannelVolume.value(), ElementsAre(0.5f));
    EXPECT_EQ(session->GroupingParam.value(), GUID{7});
}

TEST_F(SessionEventsTest, AStateEventReadsTheStateAfresh) {
    PropertyWatcher state(session->State);
    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateActive));
    DeliverThenDispatch();
    EXPECT_THAT(state.values, ElementsAre(AudioSessionStateActive));

    // The state read wins over the one that the event carried; a failed
    // read leaves the property as it is.
    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateInactive));
    Audio().FailOnce(L"IAudioSessionControl::GetState", E_FAIL, id);
    DeliverThenDispatch();
    EXPECT_EQ(session->State.value(), AudioSessionStateActive);
    EXPECT_TRUE(h.Traced(L"Failed to read audio session state with error code -2147467259.\n"));
}

TEST_F(SessionEventsTest, EventsAfterTheManagerHasGoneAreDropped) {
    // The unregistering fails, so the platform keeps calling the events
    // object; the session itself is still held here.
    Audio().Fail(L"IAudioSessionControl::UnregisterAudioSessionNotification", E_FAIL);
    manager = nullptr;
    ASSERT_EQ(Audio().SessionEventsCount(id), 1u);
    EXPECT_TRUE(h.Traced(L"Failed to unregister audio session event callback with error code -2147467259.\n"));

    ASSERT_TRUE(Audio().SetSessionDisplayName(id, L"Film"));
    ASSERT_TRUE(Audio().SetSessionVolume(id, 0.5f));
    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateActive));
    Settle();
    EXPECT_EQ(session->DisplayName.value(), L"Player");
    EXPECT_EQ(session->Volume.value(), 1.0f);
    EXPECT_EQ(session->State.value(), AudioSessionStateInactive);
}

}  // namespace
}  // namespace qv::test
