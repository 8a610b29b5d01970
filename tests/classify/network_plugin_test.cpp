// The neural network as the final classification asks it: only about an
// unsure winner (or any winner with the override), only with the winner's
// stream facts, the largest score winning with ties to the later index, and
// never Voice for a sound that the sample analysis refused. The plug-in is a
// real library beside the simulated executable: the reference rule or a
// double with a fixed answer.
#include <cmath>

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

TEST_F(NetworkPluginTest, AnUnsureResultWithoutStreamFactsIsDropped) {
    ASSERT_NO_FATAL_FAILURE(UsePlugin(L"zkaicc64_double_movie"));
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    const std::size_t before = FinalUpdates();
    // A player whose file is not known yet: the network has nothing to be
    // asked about, and the old final classification stays.
    Play(StartApp(kVlc));
    ASSERT_TRUE(WaitForFinalUpdate(before));
    EXPECT_TRUE(h.Traced(L"Calculated classification: Movie\n"));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent"}));
    EXPECT_EQ(Final().Category, CategoryNone);
    EXPECT_FALSE(h.log->NetworkInput.has);
}

struct AnswerCase {
    const wchar_t* plugin;
    const wchar_t* player;
    const char* heard;
    int32_t category;
    const wchar_t* label;
};

void PrintTo(const AnswerCase& c, std::ostream* os) {
    for (const wchar_t* p = c.plugin; *p; ++p) *os << static_cast<char>(*p);
}

class NetworkAnswerTest : public NetworkPluginTest, public ::testing::WithParamInterface<AnswerCase> {};

TEST_P(NetworkAnswerTest, WithStreamFactsTheNetworkDecides) {
    const AnswerCase& c = GetParam();
    ASSERT_NO_FATAL_FAILURE(UsePlugin(c.plugin));
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(c.player)));
    ASSERT_TRUE(session);
    OpenFile(*session, StreamFacts(2, 48000, 16, 200.0));
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words().back(), c.heard);
    EXPECT_EQ(Final().Category, c.category);
    EXPECT_EQ(Final().Confidence, 1.0f) << "the network's word is sure";
    EXPECT_EQ(Final().Source, SourceSessionRules) << "the source is the winner's";
    ASSERT_TRUE(h.log->NetworkOutput.has);
    EXPECT_EQ(h.log->NetworkOutput.fields.label, c.label);
}

INSTANTIATE_TEST_SUITE_P(
    Doubles, NetworkAnswerTest,
    ::testing::Values(
        // Music by name, movie by the network.
        AnswerCase{L"zkaicc64_double_movie", kWmplayer, "Movie", CategoryMovie, L"Movie"},
        // 0.5, 0.5, 0.1: the tie goes to the later index, music.
        AnswerCase{L"zkaicc64_double_music", kVlc, "AnyContent", CategoryMusic, L"Music"},
        // 0.2 three times: voice, the last index.
        AnswerCase{L"zkaicc64_double_voice", kVlc, "Voice", CategoryVoice, L"Voice"},
        // NaN first: no comparison with it holds, so it stays in the lead.
        AnswerCase{L"zkaicc64_double_nan", kWmplayer, "Movie", CategoryMovie, L"Movie"}));

struct ReferenceCase {
    uint32_t channels, rate, bits;
    double seconds;
    bool video;
    const char* heard;
};

void PrintTo(const ReferenceCase& c, std::ostream* os) { *os << c.channels << "ch " << c.rate << "Hz"; }

class ReferencePluginTest : public NetworkPluginTest, public ::testing::WithParamInterface<ReferenceCase> {};

// The reference rule gives voice points for a rate of 16 kHz or less and
// music points for 44.1 kHz or more: only a rate in kilohertz reaches them.
TEST_P(ReferencePluginTest, TheStreamReachesThePluginInItsUnits) {
    const ReferenceCase& c = GetParam();
    ASSERT_NO_FATAL_FAILURE(UsePlugin(L"ZKAICC64"));
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(kVlc)));
    ASSERT_TRUE(session);
    OpenFile(*session, StreamFacts(c.channels, c.rate, c.bits, c.seconds, {}, c.video));
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words().back(), c.heard);
    const NetworkInputFields& input = h.log->NetworkInput.fields;
    EXPECT_EQ(input.sampleRate, c.rate / 1000.0);
    EXPECT_EQ(input.duration, c.seconds);
    EXPECT_EQ(input.video, c.video ? 1 : 0);
    EXPECT_EQ(input.bitResolution, static_cast<int32_t>(c.bits));
    EXPECT_EQ(input.channelCount, static_cast<int32_t>(c.channels));
}

INSTANTIATE_TEST_SUITE_P(Streams, ReferencePluginTest,
                         ::testing::Values(ReferenceCase{2, 16000, 16, 100.0, false, "Voice"},
                                           ReferenceCase{2, 44100, 16, 100.0, false, "AnyContent"},
                                           ReferenceCase{6, 48000, 24, 5400.5, true, "Movie"}));

struct RejectionCase {
    bool wideSamples;
    const char* heard;
    int32_t category;
};

void PrintTo(const RejectionCase& c, std::ostream* os) { *os << (c.wideSamples ? "rejected" : "not analysed"); }

class RejectedVoiceTest : public NetworkPluginTest, public ::testing::WithParamInterface<RejectionCase> {};

TEST_P(RejectedVoiceTest, TheNetworkCannotCallVoiceWhatTheSamplesRefused) {
    const RejectionCase& c = GetParam();
    ASSERT_NO_FATAL_FAILURE(UsePlugin(L"zkaicc64_double_voice"));
    // The session is ready before the work starts, so the host's first
    // message is about it.
    ASSERT_NO_FATAL_FAILURE(Start({.enableAutoPreset = false}));
    // A player without a name rule: the file's result is the session's first,
    // so the rejection is kept with it.
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(kPlayer)));
    ASSERT_TRUE(session);
    MediaFile file = StreamFacts(2, 8000, 16, 60.0, L"D:\\Clips\\talk.mp4");
    if (c.wideSamples) file.samples = SpeechLike(2, 8000, 4, /*channelsAlike=*/false);
    OpenFile(*session, file);
    ASSERT_EQ(SessionResult(*session), (CClassification{CategoryMovie, 0.8f, 10}));
    ASSERT_EQ(SessionResult(*session).VoiceRejected, c.wideSamples);

    SetSpeakersValue(PKEY_EnableAutoPreset, 1);
    ASSERT_TRUE(WaitForHost(1));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{c.heard}));
    EXPECT_EQ(Final().Category, c.category);
    EXPECT_TRUE(h.log->NetworkInput.has) << "the network was asked";
    // Its answer is not recorded where it was overruled.
    EXPECT_EQ(h.log->NetworkOutput.has, !c.wideSamples);
}

INSTANTIATE_TEST_SUITE_P(Samples, RejectedVoiceTest,
                         ::testing::Values(RejectionCase{true, "AnyContent", CategoryNone},
                                           RejectionCase{false, "Voice", CategoryVoice}));

enum class Override { None, On, Off, OnBehindALink };

struct OverrideCase {
    Override registry;
    std::vector<std::string> heard;
    int32_t category;
};

void PrintTo(const OverrideCase& c, std::ostream* os) { *os << static_cast<int>(c.registry); }

class NetworkOnlyOverrideTest : public NetworkPluginTest, public ::testing::WithParamInterface<OverrideCase> {};

TEST_P(NetworkOnlyOverrideTest, LetsTheNetworkOverruleASureResult) {
    const OverrideCase& c = GetParam();
    CSimRegistry& registry = *h.platform->SimRegistry;
    switch (c.registry) {
        case Override::None: break;
        case Override::On: registry.SetDword(RegistryRoot::LocalMachine, L"Software\\Quorvane", L"AICCNNOnly", 1); break;
        case Override::Off: registry.SetDword(RegistryRoot::LocalMachine, L"Software\\Quorvane", L"AICCNNOnly", 0); break;
        case Override::OnBehindALink:
            registry.SetDword(RegistryRoot::LocalMachine, L"Software\\Elsewhere", L"AICCNNOnly", 1);
            registry.MakeLink(RegistryRoot::LocalMachine, L"Software\\Quorvane", RegistryRoot::LocalMachine,
                              L"Software\\Elsewhere");
            break;
    }
    ASSERT_NO_FATAL_FAILURE(UsePlugin(L"zkaicc64_double_music"));
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForFinalUpdate(0));
    // Movie at confidence 1.0: final unless the override lets the network
    // speak. With the override even the fallback of the start is held back,
    // since it comes without stream facts.
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(kPowerDvd)));
    ASSERT_TRUE(session);
    OpenFile(*session, StreamFacts(2, 48000, 16, 200.0));
    ASSERT_TRUE(WaitForHost(c.heard.size()));
    EXPECT_EQ(host.Words(), c.heard);
    EXPECT_EQ(Final().Category, c.category);
}

INSTANTIATE_TEST_SUITE_P(
    Registry, NetworkOnlyOverrideTest,
    ::testing::Values(OverrideCase{Override::None, {"AnyContent", "Movie"}, CategoryMovie},
                      OverrideCase{Override::On, {"AnyContent"}, CategoryMusic},
                      OverrideCase{Override::Off, {"AnyContent", "Movie"}, CategoryMovie},
                      OverrideCase{Override::OnBehindALink, {"AnyContent", "Movie"}, CategoryMovie}));

TEST_F(NetworkPluginTest, OfTwoEqualResultsTheEarlierSessionIsAskedAbout) {
    ASSERT_NO_FATAL_FAILURE(UsePlugin(L"zkaicc64_double_movie"));
    ASSERT_NO_FATAL_FAILURE(Start({.enableAutoPreset = false}));
    // Two players of the same rule, told apart by their files' durations.
    CRefPtr<CAudioSession> first = WaitForSession(Play(StartApp(kVlc)));
    CRefPtr<CAudioSession> second = WaitForSession(Play(StartApp(kVlc)));
    ASSERT_TRUE(first && second);
    ASSERT_EQ(classifier->AudioSessionManager.value()->activeAudioSessions[0], first);
    OpenFile(*second, StreamFacts(2, 48000, 16, 222.0));
    OpenFile(*first, StreamFacts(2, 48000, 16, 111.0));
    ASSERT_EQ(SessionResult(*first), SessionResult(*second));

    SetSpeakersValue(PKEY_EnableAutoPreset, 1);
    ASSERT_TRUE(WaitForHost(1));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"Movie"}));
    EXPECT_EQ(h.log->NetworkInput.fields.duration, 111.0);
}

}  // namespace
}  // namespace qv::test
