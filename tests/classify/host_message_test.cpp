// The one way a classification leaves the process: a message on the host's
// pipe, one per connection, that waits for the host's answer. And when the
// host hears nothing: no host listening, no pipe name, no automatic preset;
// and the empty word that withdraws a classification when the work ends.
#include <gtest/gtest.h>

#include "classifier_fixture.h"
#include "classify/host_message.h"
#include "core/text.h"
#include "platform/codes.h"
#include "support/main_thread_harness.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class HostMessageTest : public ::testing::Test {
protected:
    MainThreadHarness h{false};
    TestHost host{h.platform->Pipes()};
};

TEST_F(HostMessageTest, TheSenderWaitsForTheAnswerToAFrameWithTheEndpointInUtf8) {
    ASSERT_EQ(host.CreateError(), 0u);
    host.SetAnswerDelay(300ms);
    const std::string endpoint = WideToUtf8(L"{0.0.0.00000000}.{lautsprecher-\u00e4\u00df-\u97f3}");
    SendHostMessage(*h.platform->Pipes(), host.PipeName(), BuildHostMessageText(endpoint, "Voice"));
    const auto returned = Clock::now();
    // An empty word withdraws.
    SendHostMessage(*h.platform->Pipes(), host.PipeName(), BuildHostMessageText(endpoint, ""));
    // The host records before answering, so both are there.
    ASSERT_EQ(host.Count(), 2u);
    const std::vector<HostRecord> records = host.Records();
    EXPECT_GE(returned, records[0].answered) << "the sender went before the answer was written";
    for (const HostRecord& record : records) {
        EXPECT_EQ(record.fault, "");
        EXPECT_EQ(record.version, "1.0.0.0");
        EXPECT_EQ(record.endpointId, endpoint);
    }
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"Voice", ""}));
}

// ---- Through the classifier

class HostHearsTest : public ClassifierTest {};

TEST_F(HostHearsTest, AHostThatIsNotListeningLosesThatMessageForGood) {
    TestHost late(h.platform->Pipes(), /*listenNow=*/false);
    ASSERT_NO_FATAL_FAILURE(Start({}, late.PipeName()));
    // The start's fallback goes to nobody.
    ASSERT_TRUE(WaitForTrace(L"} CContentClassifier::SendToHost("));
    EXPECT_EQ(Final().Category, CategoryNone) << "kept, though the host did not hear it";

    late.Listen();
    ASSERT_EQ(late.CreateError(), 0u);
    Play(StartApp(L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe"));
    ASSERT_TRUE(h.RunUntil([&] { return late.Count() >= 1; }));
    h.RunFor(200ms);
    EXPECT_EQ(late.Words(), (std::vector<std::string>{"Movie"}));
    EXPECT_EQ(host.Count(), 0u);

    // The model goes while this host still listens: it hears the withdrawal.
    classifier = nullptr;
    devices = nullptr;
    h.RunPending();
    EXPECT_EQ(late.Words(), (std::vector<std::string>{"Movie", ""}));
    late.Stop();
    for (const HostRecord& record : late.Records()) EXPECT_EQ(record.fault, "");
}

TEST_F(HostHearsTest, WithoutAPipeNameNothingIsClassified) {
    ASSERT_NO_FATAL_FAILURE(Start());
    // Beside the host's model, one started without a pipe name.
    CRefPtr<CAudioDeviceManager> nameless = StartDeviceManager({kSpeakers});
    Play(StartApp(L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe"));
    ASSERT_TRUE(h.RunUntil([&] { return Final().Category == CategoryMovie; }));
    const CContentClassifier& idle = *nameless->ContentClassifiers().front();
    EXPECT_FALSE(idle.AudioSessionManager.value()) << "it watches no sessions, so it never classifies";
}

TEST_F(HostHearsTest, EndingTheWorkWithdrawsTheClassification) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    Play(StartApp(L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe"));
    ASSERT_TRUE(WaitForHost(2));
    // The automatic preset is switched off under mode 0: the work ends.
    SetSpeakersValue(PKEY_EnableAutoPreset, 0);
    ASSERT_TRUE(WaitForHost(3));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent", "Movie", ""}));
    EXPECT_EQ(Final().Category, CategoryUndefined);

    // Nothing more while the work stands still, whatever plays.
    Play(StartApp(L"C:\\Program Files\\Windows Media Player\\wmplayer.exe"));
    h.RunFor(300ms);
    EXPECT_EQ(host.Count(), 3u);

    // Switched on again: the work starts over with what plays now.
    SetSpeakersValue(PKEY_EnableAutoPreset, 1);
    ASSERT_TRUE(WaitForHost(4));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent", "Movie", "", "AnyContent"}));
    EXPECT_EQ(Final(), (CClassification{CategoryMusic, 0.8f, 20}));
}

TEST_F(HostHearsTest, WithoutTheAutomaticPresetTheHostHearsNothing) {
    ASSERT_NO_FATAL_FAILURE(Start({.hasAutoPreset = false}));
    // EnableAutoPreset is not even read without the feature.
    EXPECT_FALSE(FindDevice(*devices, kSpeakers)->EnableAutoPreset.value());
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe")));
    ASSERT_TRUE(session);
    EXPECT_EQ(SessionResult(*session).Category, CategoryMovie) << "the session is judged all the same";
    h.RunFor(300ms);
    EXPECT_EQ(host.Count(), 0u);
    EXPECT_EQ(FinalUpdates(), 0u);
    EXPECT_FALSE(h.Traced(L">>> Classified as"));
}

}  // namespace
}  // namespace qv::test
