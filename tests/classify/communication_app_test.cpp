// A call application is Voice while it records: the microphone is known from
// a capture session of the same process on a capture endpoint, which shares
// the process object with the render session.
#include <gtest/gtest.h>

#include "classifier_fixture.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

class CommunicationAppTest : public ClassifierTest {};

TEST_F(CommunicationAppTest, ZoomIsVoiceWhileItsMicrophoneIsInUse) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    const uint32_t zoom = StartApp(L"C:\\Users\\me\\AppData\\Roaming\\Zoom\\bin\\Zoom.exe");

    // Playing without recording: no name rule is tried for a call
    // application, so it has no classification at all.
    CRefPtr<CAudioSession> out = WaitForSession(Play(zoom, kSpeakers));
    ASSERT_TRUE(out);
    ASSERT_TRUE(WaitForTrace(L"Process file name without extension: zoom\n"));
    EXPECT_EQ(SessionResult(*out).Category, CategoryUndefined);
    EXPECT_FALSE(h.log->App.has);

    // The microphone opens. The capture side is never judged itself.
    const std::wstring in = Play(zoom, kMicrophone);
    CRefPtr<CAudioSession> recording = WaitForSession(in, kMicrophone);
    ASSERT_TRUE(recording);
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent", "Voice"}));
    const CClassification voice = SessionResult(*out);
    EXPECT_EQ(voice, (CClassification{CategoryVoice, 1.0f, 30}));
    EXPECT_EQ(voice.Source, SourceSessionRules);
    EXPECT_TRUE(out->ProcessInfo.value()->IsUsingMic.value());
    EXPECT_TRUE(h.log->App.has);
    EXPECT_EQ(h.log->App.fields.text, L"zoom");
    EXPECT_EQ(SessionResult(*recording).Category, CategoryUndefined);

    // The microphone closes: the call application stays Voice for as long
    // as its session lives.
    SetState(in, AudioSessionStateInactive);
    ASSERT_TRUE(h.RunUntil([&] { return !out->ProcessInfo.value()->IsUsingMic.value(); }));
    h.RunFor(300ms);
    EXPECT_EQ(SessionResult(*out), voice);
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent", "Voice"}));
}

}  // namespace
}  // namespace qv::test
