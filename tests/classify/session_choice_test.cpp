// The choice among the active sessions of one endpoint: priority first (Voice
// over Music over Movie over Game), then confidence, and of two equal
// results the earlier session.
#include <gtest/gtest.h>

#include "classifier_fixture.h"

namespace qv::test {
namespace {

class SessionChoiceTest : public ClassifierTest {};

TEST_F(SessionChoiceTest, MusicBeatsASurerMovieAndAnUnclassifiedSessionNeverWins) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    // A process that no rule knows: its session counts, but brings nothing.
    const std::size_t before = FinalUpdates();
    CRefPtr<CAudioSession> unknown = WaitForSession(Play(StartApp(L"C:\\Windows\\System32\\notepad.exe")));
    ASSERT_TRUE(unknown);
    ASSERT_TRUE(WaitForFinalUpdate(before));
    EXPECT_EQ(SessionResult(*unknown).Category, CategoryUndefined);
    EXPECT_EQ(host.Count(), 1u);
    EXPECT_EQ(Final().Category, CategoryNone);

    // Movie at 1.0 and priority 10, then Music at 0.8 and priority 20.
    Play(StartApp(L"C:\\Program Files\\CyberLink\\PowerDVD18\\PowerDVD.exe"));
    Play(StartApp(L"C:\\Program Files\\Windows Media Player\\wmplayer.exe"));
    ASSERT_TRUE(WaitForHost(2));
    // Music has no word of its own: the host hears AnyContent a second
    // time, and only the category tells it from the fallback.
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent", "AnyContent"}));
    EXPECT_EQ(Final(), (CClassification{CategoryMusic, 0.8f, 20}));
    EXPECT_GE(TraceCount(L"Audio Session Classification: Movie\n"), 1u) << "the Movie session was weighed";
}

TEST_F(SessionChoiceTest, AGameIsHeardOnlyWhileNothingElsePlays) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    const std::wstring game = Play(StartApp(L"D:\\Games\\Borderlands 3\\OakGame\\Binaries\\Win64\\Borderlands3.exe"));
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words().back(), "Game");
    EXPECT_EQ(Final(), (CClassification{CategoryGame, 1.0f, 0}));

    // A player of confidence 0.8 wins over the game's 1.0: priority first.
    const std::wstring player = Play(StartApp(L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe"));
    ASSERT_TRUE(WaitForHost(3));
    EXPECT_EQ(host.Words().back(), "Movie");

    // The player stops: the game is alone again.
    SetState(player, AudioSessionStateInactive);
    ASSERT_TRUE(WaitForHost(4));
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent", "Game", "Movie", "Game"}));
}

}  // namespace
}  // namespace qv::test
