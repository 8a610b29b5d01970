// The product end to end on Linux: ContentClassifier on the Linux platform,
// started and heard by the reference host, quorvane-host, on a private sound
// server, while real programs play. A player is known by its image name, so
// the players are real programs copied under the names of a movie player
// ("vlc", the demo client playing and holding open a media file made by
// ffmpeg) and of a call program ("zoom", the demo client playing while it
// records). The lister beside the classifier finds the player's file, and the
// meta log, served by this test on its real pipe, names it.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

#include "classify/content_classifier_log.h"
#include "e2e_fixture.h"
#include "platform/native.h"

namespace qv::test {
namespace {

TEST_F(ClassifierEndToEnd, AMoviePlayerACallAndSilenceReachTheHostInOrder) {
    const std::string output = "E2E-Preset-Speakers";
    const std::string sink = LoadPresetSink("preset", output, true);

    PipeTestServer metaLog(CreateNativePlatform()->Pipes(), CContentClassifierLog::kPipeName);
    ASSERT_EQ(metaLog.CreateError(), 0u);
    LoggedProcess& host = StartHost();
    // Nothing plays: as soon as it is up, the classifier falls back at once.
    ASSERT_TRUE(WaitForWord(host, output, 0, "AnyContent", kStartBound))
        << "heard " << Joined(Heard(host, output)) << " instead of the first fallback";
    EXPECT_NE(host.Output().find("for " + output), std::string::npos)
        << "the host did not start the classifier for the default output";

    const std::string film = m_media + "/movie.mp4";
    LoggedProcess& movie = Start("vlc", {m_bin + "/vlc", "--play", film, "--seconds", "40"});
    ASSERT_TRUE(WaitForWord(host, output, 1, "Movie", kWordBound))
        << "heard " << Joined(Heard(host, output)) << " while a movie player plays";
    EXPECT_TRUE(
        WaitUntil([&] { return HasLine(metaLog, L"Media file: " + Utf8ToWide(film) + L"\n"); }, kWordBound, kPoll))
        << "the meta log never named the film; the classifier's trace:\n"
        << host.Output();

    // A call outranks the movie while it lasts.
    LoggedProcess& call = Start("zoom", {m_bin + "/zoom", "--record", "--bursts", "--seconds", "3", "--tone", "220"});
    ASSERT_TRUE(WaitForWord(host, output, 2, "Voice", kWordBound))
        << "heard " << Joined(Heard(host, output)) << " while a call program plays and records";
    ASSERT_EQ(call.WaitForExit(kExitBound), 0) << "the call program did not end well";
    ASSERT_TRUE(movie.Running()) << "the movie player ended before the call; the file is too short";
    ASSERT_TRUE(WaitForWord(host, output, 3, "Movie", kWordBound))
        << "heard " << Joined(Heard(host, output)) << " after the call, with the movie still playing";

    ASSERT_TRUE(Stop(movie)) << "the movie player did not stop";
    const std::optional<Clock::time_point> fallback = WaitForWord(host, output, 4, "AnyContent", kWordBound);
    ASSERT_TRUE(fallback) << "heard " << Joined(Heard(host, output)) << " after the silence";
    const double silence = std::chrono::duration<double>(*fallback - movie.ExitSeenAt()).count();
    EXPECT_GE(silence, kFallbackAtLeastSeconds) << "the fallback came without the 2 s of silence";

    // Stopping the classifier withdraws its word before it ends.
    ASSERT_EQ(Stop(host), 0) << "the host did not end well";
    EXPECT_EQ(Heard(host, output),
              (std::vector<std::string>{"AnyContent", "Movie", "Voice", "Movie", "AnyContent", kWithdrawn}));
    EXPECT_NE(host.Output().find("the classifier stopped with exit code 0"), std::string::npos)
        << "the classifier did not end cleanly";
    // The classifier prints what it sends, under the endpoint's id.
    EXPECT_EQ(ClassifierPrintedWords(host.Output(), sink),
              (std::vector<std::string>{"AnyContent", "Movie", "Voice", "Movie", "AnyContent"}));
}

// What the player holds open decides: a .flac is on no list, so the name
// alone makes it a movie; a .wav of steady, wide music is heard as music,
// which the host hears as its fallback word and the meta log names; a .wav
// of speech-like bursts is heard as speech.
TEST_F(ClassifierEndToEnd, ThePlayersOpenFileDecidesByItsListAndItsSound) {
    const std::string output = "E2E-File-Speakers";
    const std::string sink = LoadPresetSink("file", output, false);
    PipeTestServer metaLog(CreateNativePlatform()->Pipes(), CContentClassifierLog::kPipeName);
    ASSERT_EQ(metaLog.CreateError(), 0u);
    LoggedProcess& host = StartHost(sink);
    ASSERT_TRUE(WaitForWord(host, output, 0, "AnyContent", kStartBound)) << "heard " << Joined(Heard(host, output));

    auto play = [&](const std::string& file) -> LoggedProcess& {
        return Start("vlc", {m_bin + "/vlc", "--play", m_media + "/" + file, "--sink", sink, "--seconds", "30"});
    };
    LoggedProcess& flac = play("speech.flac");
    ASSERT_TRUE(WaitForWord(host, output, 1, "Movie", kWordBound)) << "heard " << Joined(Heard(host, output));
    ASSERT_TRUE(Stop(flac));
    ASSERT_TRUE(WaitForWord(host, output, 2, "AnyContent", kWordBound)) << "heard " << Joined(Heard(host, output));

    const std::wstring musicLine = L"Media file: " + Utf8ToWide(m_media + "/music.wav") + L"\n";
    LoggedProcess& music = play("music.wav");
    ASSERT_TRUE(WaitUntil(
        [&] {
            const std::vector<std::wstring> lines = MetaLogLines(metaLog);
            for (std::size_t i = 0; i + 1 < lines.size(); ++i)
                if (lines[i] == musicLine && lines[i + 1] == L"MODE: ____________ Music ____________\n") return true;
            return false;
        },
        kWordBound, kPoll))
        << "the meta log never told the music file's verdict; the classifier's trace:\n"
        << host.Output();
    // Music is a word of its own for the host, spelt as the fallback.
    ASSERT_TRUE(WaitForWord(host, output, 3, "AnyContent", kWordBound)) << "heard " << Joined(Heard(host, output));
    ASSERT_TRUE(Stop(music));

    // On a slow machine (ThreadSanitizer) the speech is judged more than 2 s
    // after the music ended, and the fallback comes first.
    LoggedProcess& speech = play("speech.wav");
    ASSERT_TRUE(WaitForLatestWord(host, output, "Voice", kWordBound)) << "heard " << Joined(Heard(host, output));
    // The meta log's line goes out over its own pipe, in its own time.
    EXPECT_TRUE(
        WaitUntil([&] { return HasLine(metaLog, L"Media file: " + Utf8ToWide(m_media + "/speech.wav") + L"\n"); },
                  kWordBound, kPoll));
    ASSERT_TRUE(Stop(speech));
    ASSERT_EQ(Stop(host), 0);
}

// A browser's tab: "chrome" starts PELTAK64 as its native host, as a browser
// does for its add-on, and plays from a child; the add-on's messages say that
// the tab of a meeting service plays. The browser's session takes the page's word;
// a browser's name alone gives none.
TEST_F(ClassifierEndToEnd, ABrowsersAudiblePageGivesItsSessionThePagesWord) {
    const std::string output = "E2E-Web-Speakers";
    const std::string sink = LoadPresetSink("web", output, true);
    LoggedProcess& host = StartHost();
    ASSERT_TRUE(WaitForWord(host, output, 0, "AnyContent", kStartBound)) << "heard " << Joined(Heard(host, output));

    const std::string page = "00000000000000a1-00000000000000b2";
    const std::string message = R"({"instanceId":"e2e","changes":[)"
                                R"({"type":"web-page","id":")" +
                                page +
                                R"(","url":"https://meet.google.com/abc-defg-hij","audible":true,"muted":false},)"
                                R"({"type":"web-audio-element","id":"00000000000000c3-00000000000000d4","pageId":")" +
                                page + R"(","playing":true,"duration":3600.0}]})";
    const std::string frames = m_folder + "/add-on-messages";
    {
        std::ofstream file(frames, std::ios::binary);
        const auto size = static_cast<uint32_t>(message.size());
        const char length[4] = {static_cast<char>(size), static_cast<char>(size >> 8), static_cast<char>(size >> 16),
                                static_cast<char>(size >> 24)};
        file.write(length, 4).write(message.data(), static_cast<std::streamsize>(message.size()));
    }
    CopyProgram(QV_DEMO_CLIENT, m_bin + "/chrome");
    // As Chromium does, the browser plays from a child, its audio service.
    LoggedProcess& browser = Start("chrome", {m_bin + "/chrome", "--seconds", "30", "--audio-service", "--native-host",
                                              QV_PELTAK, "--native-host-input", frames});
    ASSERT_TRUE(WaitForWord(host, output, 1, "Voice", kWordBound))
        << "heard " << Joined(Heard(host, output)) << " while the browser's meeting tab plays; the browser:\n"
        << browser.Describe() << "the classifier's trace:\n"
        << host.Output();
    // The native host passed the classifier's reply back to the add-on.
    EXPECT_NE(browser.Output().find(R"("isDefaultEndpoint":true)"), std::string::npos) << browser.Describe();
    ASSERT_TRUE(Stop(browser));
    ASSERT_EQ(Stop(host), 0);
}

// Absence is shown against a witness: the classifier watches the plain
// output and a second one with the preset. A player on the plain output is
// taken into the model first (its session shows in the trace), then a
// player on the witness. Any word for the plain output would have been
// decided before the witness's, by the same delays, so once the witness's
// word has come, the plain output's silence is final.
TEST_F(ClassifierEndToEnd, AnOutputWithoutTheAutomaticPresetIsNeverClassified) {
    const std::string output = "E2E-Plain-Speakers", witnessOutput = "E2E-Witness-Speakers";
    const std::string sink = LoadSink("plain", output, "");
    const std::string witness = LoadPresetSink("witness", witnessOutput, false);
    LoggedProcess& host = StartHost(sink + "," + witness);
    ASSERT_TRUE(WaitForWord(host, witnessOutput, 0, "AnyContent", kStartBound))
        << "heard " << Joined(Heard(host, witnessOutput)) << " on the witness";

    LoggedProcess& movie = Start("vlc", {m_bin + "/vlc", "--sink", sink, "--seconds", "40"});
    const std::string taken = "CAudioSession::SourceProcessID_Changed(" + std::to_string(movie.Pid()) + ")";
    ASSERT_TRUE(WaitUntil([&] { return host.Errors().find(taken) != std::string::npos; }, kWordBound, kPoll))
        << "the classifier never took in the movie player's session";
    LoggedProcess& witnessMovie = Start("vlc", {m_bin + "/vlc", "--sink", witness, "--seconds", "40"});
    ASSERT_TRUE(WaitForWord(host, witnessOutput, 1, "Movie", kWordBound))
        << "heard " << Joined(Heard(host, witnessOutput)) << " on the witness";
    EXPECT_EQ(Heard(host, output), std::vector<std::string>{}) << "a word for the output without the preset";

    for (LoggedProcess* player : {&movie, &witnessMovie}) {
        EXPECT_TRUE(player->Running());
        ASSERT_TRUE(Stop(*player));
    }
    ASSERT_EQ(Stop(host), 0);
    EXPECT_EQ(Heard(host, output), std::vector<std::string>{}) << "no word, not even a withdrawal";
    EXPECT_EQ(ClassifierPrintedWords(host.Output(), sink), std::vector<std::string>{});
    EXPECT_NE(host.Output().find("the classifier stopped with exit code 0"), std::string::npos);
}

}  // namespace
}  // namespace qv::test
