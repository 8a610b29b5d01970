// The neural network as the final classification asks it: only about an
// unsure winner (or any winner with the override), only with the winner's
// stream facts, the largest score winning with ties to the later index, and
// never Voice for a sound that the sample analysis refused. The plug-in is a
// real library beside the simulated executable: the reference rule or a
// double with a fixed answer.
#include <cmath>
#include <tuple>

#include <gtest/gtest.h>

#include "classifier_fixture.h"
#include "classify/content_discrimination.h"
#include "plugin_beside.h"
#include "sample_buffers.h"

namespace qv::test {
namespace {

constexpr const wchar_t* kVlc = L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe";
constexpr const wchar_t* kWmplayer = L"C:\\Program Files\\Windows Media Player\\wmplayer.exe";
// A player that no name rule knows.
constexpr const wchar_t* kPlayer = L"C:\\Apps\\Player.exe";
constexpr const wchar_t* kPowerDvd = L"C:\\Program Files\\CyberLink\\PowerDVD18\\PowerDVD.exe";

class NetworkPluginTest : public ClassifierTest {
protected:
    // Loads the library of that build name as the plug-in.
    void UsePlugin(const std::wstring& builtBaseName) {
        ASSERT_TRUE(plugin.Place(builtBaseName));
        ASSERT_TRUE(plugin.Load());
        ASSERT_TRUE(ContentDiscriminationLoaded());
    }

    PluginBeside plugin{*h.platform};
};

TEST_F(NetworkPluginTest, AnUnsureResultWithoutStreamFactsIsDroppedAndOfEqualOnesTheEarlierIsAsked) {
    ASSERT_NO_FATAL_FAILURE(UsePlugin(L"zkaicc64_double_movie"));
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    const std::size_t before = FinalUpdates();
    // A player whose file is not known yet: the network has nothing to be
    // asked about, and the old final classification stays.
    CRefPtr<CAudioSession> first = WaitForSession(Play(StartApp(kVlc)));
    ASSERT_TRUE(first);
    ASSERT_TRUE(WaitForFinalUpdate(before));
    EXPECT_TRUE(h.Traced(L"Calculated classification: Movie\n"));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent"}));
    EXPECT_EQ(Final().Category, CategoryNone);
    EXPECT_FALSE(h.log->NetworkInput.has);

    // A second player of the same rule; the two are told apart by the
    // durations of their files.
    CRefPtr<CAudioSession> second = WaitForSession(Play(StartApp(kVlc)));
    ASSERT_TRUE(second);
    ASSERT_EQ(classifier->AudioSessionManager.value()->activeAudioSessions[0], first);
    OpenFile(*second, StreamFacts(2, 48000, 16, 222.0));
    OpenFile(*first, StreamFacts(2, 48000, 16, 111.0));
    ASSERT_EQ(SessionResult(*first), SessionResult(*second));
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words().back(), "Movie");
    EXPECT_EQ(h.log->NetworkInput.fields.duration, 111.0);
}

// The plug-in, the player, the word heard, its category, the network's label
// and its second score as the meta log keeps it.
using AnswerCase = std::tuple<const wchar_t*, const wchar_t*, const char*, int32_t, const wchar_t*, double>;

class NetworkAnswerTest : public NetworkPluginTest, public ::testing::WithParamInterface<AnswerCase> {};

TEST_P(NetworkAnswerTest, WithStreamFactsTheNetworkDecides) {
    const auto& [library, player, heard, category, label, secondScore] = GetParam();
    ASSERT_NO_FATAL_FAILURE(UsePlugin(library));
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(player)));
    ASSERT_TRUE(session);
    OpenFile(*session, StreamFacts(2, 48000, 16, 200.0));
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words().back(), heard);
    EXPECT_EQ(Final().Category, category);
    EXPECT_EQ(Final().Confidence, 1.0f) << "the network's word is sure";
    EXPECT_EQ(Final().Source, SourceSessionRules) << "the source is the winner's";
    ASSERT_TRUE(h.log->NetworkOutput.has);
    EXPECT_EQ(h.log->NetworkOutput.fields.label, label);
    EXPECT_EQ(h.log->NetworkOutput.fields.scores[1], secondScore);
}

INSTANTIATE_TEST_SUITE_P(Doubles, NetworkAnswerTest,
                         ::testing::Values(
                             // Music by name, movie by the network.
                             AnswerCase{L"zkaicc64_double_movie", kWmplayer, "Movie", CategoryMovie, L"Movie", 0.05},
                             // 0.5, 0.5, 0.1: the tie goes to the later index, music.
                             AnswerCase{L"zkaicc64_double_music", kVlc, "AnyContent", CategoryMusic, L"Music", 0.5},
                             // 0.2 three times: voice, the last index.
                             AnswerCase{L"zkaicc64_double_voice", kVlc, "Voice", CategoryVoice, L"Voice", 0.2},
                             // NaN first: no comparison with it holds, so it stays in the lead.
                             AnswerCase{L"zkaicc64_double_nan", kWmplayer, "Movie", CategoryMovie, L"Movie", 0.2}));

// Channels, rate, bits, seconds, video, and the word heard.
using ReferenceCase = std::tuple<uint32_t, uint32_t, uint32_t, double, bool, const char*>;

class ReferencePluginTest : public NetworkPluginTest, public ::testing::WithParamInterface<ReferenceCase> {};

// The reference rule gives voice points for a rate of 16 kHz or less and
// music points for 44.1 kHz or more: only a rate in kilohertz reaches them.
TEST_P(ReferencePluginTest, TheStreamReachesThePluginInItsUnits) {
    const auto& [channels, rate, bits, seconds, video, heard] = GetParam();
    ASSERT_NO_FATAL_FAILURE(UsePlugin(L"ZKAICC64"));
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(kVlc)));
    ASSERT_TRUE(session);
    OpenFile(*session, StreamFacts(channels, rate, bits, seconds, {}, video));
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words().back(), heard);
    const NetworkInputFields& input = h.log->NetworkInput.fields;
    EXPECT_EQ(input.sampleRate, rate / 1000.0);
    EXPECT_EQ(input.duration, seconds);
    EXPECT_EQ(input.video, video ? 1 : 0);
    EXPECT_EQ(input.bitResolution, static_cast<int32_t>(bits));
    EXPECT_EQ(input.channelCount, static_cast<int32_t>(channels));
}

INSTANTIATE_TEST_SUITE_P(Streams, ReferencePluginTest,
                         ::testing::Values(ReferenceCase{2, 16000, 16, 100.0, false, "Voice"},
                                           ReferenceCase{2, 44100, 16, 100.0, false, "AnyContent"},
                                           ReferenceCase{6, 48000, 24, 5400.5, true, "Movie"}));

// With wide samples, which the analysis refuses as speech, or none.
class RejectedVoiceTest : public NetworkPluginTest, public ::testing::WithParamInterface<bool> {};

TEST_P(RejectedVoiceTest, TheNetworkCannotCallVoiceWhatTheSamplesRefused) {
    const bool wideSamples = GetParam();
    ASSERT_NO_FATAL_FAILURE(UsePlugin(L"zkaicc64_double_voice"));
    // The session is ready before the work starts, so the host's first
    // message is about it.
    ASSERT_NO_FATAL_FAILURE(Start({.enableAutoPreset = false}));
    // A player without a name rule: the file's result is the session's first,
    // so the rejection is kept with it.
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(kPlayer)));
    ASSERT_TRUE(session);
    MediaFile file = StreamFacts(2, 8000, 16, 60.0, L"D:\\Clips\\talk.mp4");
    if (wideSamples) file.samples = SpeechLike(2, 8000, 4, /*channelsAlike=*/false);
    OpenFile(*session, file);
    ASSERT_EQ(SessionResult(*session), (CClassification{CategoryMovie, 0.8f, 10}));
    ASSERT_EQ(SessionResult(*session).VoiceRejected, wideSamples);

    SetSpeakersValue(PKEY_EnableAutoPreset, 1);
    ASSERT_TRUE(WaitForHost(1));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{wideSamples ? "AnyContent" : "Voice"}));
    EXPECT_EQ(Final().Category, wideSamples ? CategoryNone : CategoryVoice);
    EXPECT_TRUE(h.log->NetworkInput.has) << "the network was asked";
    // Its answer is not recorded where it was overruled.
    EXPECT_EQ(h.log->NetworkOutput.has, !wideSamples);
}

INSTANTIATE_TEST_SUITE_P(Samples, RejectedVoiceTest, ::testing::Bool());

enum class Override { None, On, Off, OnBehindALink, OnOnceRunning };

// The registry's override, the words heard, the final category.
using OverrideCase = std::tuple<Override, std::vector<std::string>, int32_t>;

class NetworkOnlyOverrideTest : public NetworkPluginTest, public ::testing::WithParamInterface<OverrideCase> {};

TEST_P(NetworkOnlyOverrideTest, LetsTheNetworkOverruleASureResult) {
    const auto& [registryOverride, heard, category] = GetParam();
    CSimRegistry& registry = *h.platform->SimRegistry;
    switch (registryOverride) {
        case Override::None:
        case Override::OnOnceRunning: break;
        case Override::On:
            registry.SetDword(RegistryRoot::LocalMachine, L"Software\\Quorvane", L"AICCNNOnly", 1);
            break;
        case Override::Off:
            registry.SetDword(RegistryRoot::LocalMachine, L"Software\\Quorvane", L"AICCNNOnly", 0);
            break;
        case Override::OnBehindALink:
            registry.SetDword(RegistryRoot::LocalMachine, L"Software\\Elsewhere", L"AICCNNOnly", 1);
            registry.MakeLink(RegistryRoot::LocalMachine, L"Software\\Quorvane", RegistryRoot::LocalMachine,
                              L"Software\\Elsewhere");
            break;
    }
    ASSERT_NO_FATAL_FAILURE(UsePlugin(L"zkaicc64_double_music"));
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForFinalUpdate(0));
    if (registryOverride == Override::OnOnceRunning)
        registry.SetDword(RegistryRoot::LocalMachine, L"Software\\Quorvane", L"AICCNNOnly", 1);
    // Movie at confidence 1.0: final unless the override lets the network
    // speak. With the override even the fallback of the start is held back,
    // since it comes without stream facts.
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(kPowerDvd)));
    ASSERT_TRUE(session);
    OpenFile(*session, StreamFacts(2, 48000, 16, 200.0));
    ASSERT_TRUE(WaitForHost(heard.size()));
    EXPECT_EQ(host.Words(), heard);
    EXPECT_EQ(Final().Category, category);
}

INSTANTIATE_TEST_SUITE_P(
    Registry, NetworkOnlyOverrideTest,
    ::testing::Values(OverrideCase{Override::None, {"AnyContent", "Movie"}, CategoryMovie},
                      OverrideCase{Override::On, {"AnyContent"}, CategoryMusic},
                      OverrideCase{Override::Off, {"AnyContent", "Movie"}, CategoryMovie},
                      OverrideCase{Override::OnBehindALink, {"AnyContent", "Movie"}, CategoryMovie},
                      // Read at each decision: the start's fallback was told without it.
                      OverrideCase{Override::OnOnceRunning, {"AnyContent", "AnyContent"}, CategoryMusic}));

}  // namespace
}  // namespace qv::test
