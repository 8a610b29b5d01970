// Feature mode 1: the endpoint runs its automatic preset whatever
// EnableAutoPreset says, and the host hears only Voice episodes: "Voice" when
// speech begins and, when it ends, the content type that the device had.
#include <tuple>

#include <gtest/gtest.h>

#include "classifier_fixture.h"
#include "plugin_beside.h"
#include "sample_buffers.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

class FeatureModeOneTest : public ClassifierTest {
protected:
    // A call application that plays and records: Voice while it records.
    // Gives the render session.
    std::wstring StartCall() {
        const uint32_t zoom = StartApp(L"C:\\Users\\me\\AppData\\Roaming\\Zoom\\bin\\Zoom.exe");
        m_call = {Play(zoom, kSpeakers), Play(zoom, kMicrophone)};
        return m_call[0];
    }
    void EndCall() {
        SetState(m_call[1], AudioSessionStateInactive);
        SetState(m_call[0], AudioSessionStateInactive);
    }

    std::vector<std::wstring> m_call;
};

// The device's content type, and the word and category after the Voice
// episode (no word: "Voice" stays).
using EpisodeCase = std::tuple<const wchar_t*, const char*, int32_t>;

class VoiceEpisodeTest : public FeatureModeOneTest, public ::testing::WithParamInterface<EpisodeCase> {};

TEST_P(VoiceEpisodeTest, EndsWithTheDevicesOwnContentType) {
    const auto& [contentType, heardAfterVoice, categoryAfterVoice] = GetParam();
    // EnableAutoPreset off: under mode 1 the work runs all the same.
    ASSERT_NO_FATAL_FAILURE(Start({.enableAutoPreset = false, .featureMode = 1, .contentType = contentType}));
    CRefPtr<CAudioSession> call = WaitForSession(StartCall());
    ASSERT_TRUE(call);
    ASSERT_TRUE(WaitForHost(1));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"Voice"})) << "the fallback of the start is not told";
    // The capture side of the call is never judged itself.
    EXPECT_EQ(SessionResult(*WaitForSession(m_call[1], kMicrophone)).Category, CategoryUndefined);
    // The host has put the device on Voice; Voice again keeps the type from before.
    FindDevice(*devices, kSpeakers)->ContentTypeName.set(L"Voice");
    const std::size_t voices = FinalUpdates();
    call->IsVideo.set(true);
    ASSERT_TRUE(WaitForFinalUpdate(voices));
    EXPECT_EQ(classifier->PreFinalClassification, CategoryFromName(contentType));

    // Two seconds of silence bring the fallback, which mode 1 turns into the
    // saved content type, or drops if there is none.
    const std::size_t fallbacks = TraceCount(L"Classification: AnyContent\n");
    EndCall();
    ASSERT_TRUE(h.RunUntil([&] { return TraceCount(L"Classification: AnyContent\n") > fallbacks; }, 10s));
    if (heardAfterVoice) {
        ASSERT_TRUE(WaitForHost(2));
        EXPECT_EQ(host.Words(), (std::vector<std::string>{"Voice", heardAfterVoice}));
        EXPECT_EQ(Final().Category, categoryAfterVoice);
        EXPECT_EQ(classifier->PreFinalClassification, CategoryUndefined) << "used once";
    } else {
        h.RunFor(200ms);
        EXPECT_EQ(host.Words(), (std::vector<std::string>{"Voice"}));
        EXPECT_EQ(Final().Category, CategoryVoice);
    }
}

INSTANTIATE_TEST_SUITE_P(ContentTypes, VoiceEpisodeTest,
                         ::testing::Values(EpisodeCase{L"Movie", "Movie", CategoryMovie},
                                           EpisodeCase{L"Music", "AnyContent", CategoryMusic},
                                           EpisodeCase{L"AnyContent", "AnyContent", CategoryMusic},
                                           // Not in the map, nor in another case.
                                           EpisodeCase{L"movie", nullptr, CategoryVoice}));

TEST_F(FeatureModeOneTest, AMovieNeverReachesTheHostAndNeitherNetworkNorSamplesAreAsked) {
    // A plug-in that would make Music of everything it is asked about.
    PluginBeside plugin(*h.platform);
    ASSERT_TRUE(plugin.Place(L"zkaicc64_double_music"));
    ASSERT_TRUE(plugin.Load());
    ASSERT_NO_FATAL_FAILURE(Start({.featureMode = 1, .contentType = L"Game"}));
    // The start's fallback, then the player's Movie: both final updates run,
    // neither changes anything.
    ASSERT_TRUE(WaitForFinalUpdate(0));
    std::size_t before = FinalUpdates();
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe")));
    ASSERT_TRUE(session);
    ASSERT_TRUE(WaitForFinalUpdate(before));
    EXPECT_TRUE(h.Traced(L"Classification: Movie\n"));

    MediaFile file = StreamFacts(2, 8000, 16, 60.0, L"D:\\Films\\film.mp4");
    file.samples = SpeechLike(2, 8000, 4, /*channelsAlike=*/false);
    before = FinalUpdates();
    OpenFile(*session, file);
    EXPECT_EQ(SessionResult(*session), (CClassification{CategoryMovie, 0.8f, 10}));
    EXPECT_FALSE(SessionResult(*session).VoiceRejected) << "wide stereo, but not analysed";
    ASSERT_TRUE(WaitForFinalUpdate(before));
    EXPECT_FALSE(h.log->NetworkInput.has) << "the network was not asked";
    EXPECT_FALSE(h.Traced(L"New FinalClassification: AnyContent"));
    EXPECT_EQ(host.Count(), 0u);
    EXPECT_EQ(Final().Category, CategoryUndefined);
}

TEST_F(FeatureModeOneTest, AnotherModeShutsTheGate) {
    ASSERT_NO_FATAL_FAILURE(Start({.featureMode = 2, .contentType = L"Movie"}));
    ASSERT_TRUE(WaitForSession(StartCall()));
    h.RunFor(300ms);
    EXPECT_EQ(host.Count(), 0u);
    EXPECT_EQ(FinalUpdates(), 0u);
    EXPECT_EQ(TraceCount(L"} CContentClassifier::UpdateCalculatedClassification("), 0u);
}

}  // namespace
}  // namespace qv::test
