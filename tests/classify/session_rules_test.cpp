// One session's own judgement, on the simulated machine: the name rules of
// its process, the extension of the file it plays, and the sample analysis,
// in that order, with a sure result closing the door on the later steps.
#include <gtest/gtest.h>

#include "classifier_fixture.h"
#include "core/text.h"
#include "platform/codes.h"
#include "sample_buffers.h"

namespace qv::test {
namespace {

constexpr uint32_t kRate = 8000;

class SessionRulesTest : public ModelTest {
protected:
    // An active session of a process with that image on the speakers, as a
    // session manager of the speakers sees it.
    CRefPtr<CAudioSession> PlayingSession(const std::wstring& imagePath) {
        EXPECT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
        EXPECT_TRUE(Processes().StartProcess(kPid, imagePath));
        sessionId =
            Audio().AddSession(kSpeakers, {.processId = kPid, .state = AudioSessionStateActive, .announce = false});
        devices = StartDeviceManager({kSpeakers});
        Settle();
        manager = WatchSessions(FindDevice(*devices, kSpeakers));
        Settle();
        CRefPtr<CAudioSession> session = FindSession(manager->activeAudioSessions, sessionId);
        EXPECT_TRUE(session && session->ProcessInfo.value());
        return session;
    }

    static constexpr uint32_t kPid = 3100;
    std::wstring sessionId;
    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CAudioSessionManager> manager;
};

// ---- Name rules, file extensions and the sample analysis

// The first seconds of the file: none, speech in mono, speech in wide
// stereo, steady stereo.
enum class Sound { None, Speech, WideSpeech, Steady };

struct RuleCase {
    const wchar_t* image;
    const wchar_t* file;
    CClassification expected;
    Sound sound = Sound::None;
    bool rejected = false;
    bool recording = false;
};

void PrintTo(const RuleCase& c, std::ostream* os) {
    *os << WideToUtf8(c.image) << " + \"" << WideToUtf8(c.file) << "\"" << (c.recording ? " recording" : "");
}

class SessionRuleTest : public SessionRulesTest, public ::testing::WithParamInterface<RuleCase> {};

TEST_P(SessionRuleTest, GiveTheSessionsClassification) {
    const RuleCase& c = GetParam();
    CRefPtr<CAudioSession> session = PlayingSession(std::wstring(L"C:\\Apps\\") + c.image);
    ASSERT_TRUE(session);
    if (c.sound == Sound::None) {
        if (*c.file) session->OpenedMediaFilePath.set(c.file);
    } else {
        // A file of 30 s at kRate and 16 bits, with its first seconds.
        const uint32_t channels = c.sound == Sound::Speech ? 1 : 2;
        Samples samples =
            c.sound == Sound::Steady ? Steady(2, kRate, 4) : SpeechLike(channels, kRate, 4, c.sound == Sound::Speech);
        OpenFile(*session, {c.file, MakeRef<CAudioStreamBasicInfo>(channels, kRate, 16, 30.0), std::move(samples)});
    }
    if (c.recording) session->ProcessInfo.value()->IsUsingMic.set(true);
    const CClassification result = SessionResult(*session);
    EXPECT_EQ(result, c.expected);
    EXPECT_EQ(result.Source, c.expected.Source);
    EXPECT_EQ(result.VoiceRejected, c.rejected);
    // A call application that records is named in the meta log.
    EXPECT_EQ(h.log->App.has, c.recording && result.Category == CategoryVoice);
}

const CClassification kUnset{};
const CClassification kMovieByName{CategoryMovie, 0.8f, 10, SourceSessionRules};
const CClassification kMovieByExtension{CategoryMovie, 0.8f, 10, SourceLocalAnalysis};
const CClassification kMusicByExtension{CategoryMusic, 0.8f, 20, SourceLocalAnalysis};
const CClassification kMusicByName{CategoryMusic, 0.8f, 20, SourceSessionRules};
const CClassification kSureMovie{CategoryMovie, 1.0f, 10, SourceSessionRules};
const CClassification kGame{CategoryGame, 1.0f, 0, SourceSessionRules};
const CClassification kVoiceByRule{CategoryVoice, 1.0f, 30, SourceSessionRules};
const CClassification kVoiceByAnalysis{CategoryVoice, 1.0f, 30, SourceLocalAnalysis};

INSTANTIATE_TEST_SUITE_P(
    Rules, SessionRuleTest,
    ::testing::Values(RuleCase{L"vlc.exe", L"", kMovieByName}, RuleCase{L"VLC Portable.exe", L"", kMovieByName},
                      RuleCase{L"vlc.exe", L"D:\\Music\\song.MP3", kMusicByExtension},
                      // The extension's Movie equals the name's in all that counts, so the
                      // value stored from the name stays, Source included.
                      RuleCase{L"vlc.exe", L"D:\\Films\\film.Mp4", kMovieByName},
                      RuleCase{L"myvlc.exe", L"D:\\Films\\film.mp4", kMovieByExtension},
                      // A rule word further inside the name is no rule. Nor is "Teams"
                      // there a call application, which would have no result without
                      // its microphone.
                      RuleCase{L"myvlc.exe", L"", kUnset}, RuleCase{L"VideoTeamsBridge.exe", L"", kMovieByName},
                      RuleCase{L"myvlc.exe", L"D:\\Music\\song.mp3", kMusicByExtension},
                      // The sets as they stand: sound-only "m4a", "ac3" and "ec3" count
                      // as video, and music is "falc", so a ".flac" file tells nothing.
                      RuleCase{L"myvlc.exe", L"D:\\Music\\song.m4a", kMovieByExtension},
                      RuleCase{L"myvlc.exe", L"D:\\Music\\surround.ac3", kMovieByExtension},
                      RuleCase{L"myvlc.exe", L"D:\\Music\\surround.EC3", kMovieByExtension},
                      RuleCase{L"myvlc.exe", L"D:\\Music\\song.falc", kMusicByExtension},
                      RuleCase{L"myvlc.exe", L"D:\\Music\\song.flac", kUnset},
                      // A sure name rule ends the walk before the extension and the samples.
                      RuleCase{L"PowerDVD18.exe", L"D:\\Music\\song.mp3", kSureMovie},
                      RuleCase{L"PowerDVD.exe", L"D:\\Talks\\lecture.mp4", kSureMovie, Sound::Speech},
                      RuleCase{L"Video.UI.exe", L"", kMovieByName},
                      RuleCase{L"Video.UI.exe", L"D:\\Music\\song.MP3", kMusicByExtension},
                      RuleCase{L"movie.ui.exe", L"D:\\Films\\clip.webm", kMovieByName},
                      RuleCase{L"VideoPlayer.exe", L"D:\\Music\\track.wav", kMusicByExtension},
                      RuleCase{L"wmplayer.exe", L"D:\\Notes\\list.txt", kMusicByName},
                      RuleCase{L"Borderlands3.exe", L"D:\\Music\\song.mp3", kGame},
                      RuleCase{L"notepad.exe", L"D:\\Notes\\list.txt", kUnset},
                      // The microphone makes Voice of a call application alone, and
                      // no name rule is tried for one that does not record.
                      RuleCase{L"notepad.exe", L"", kUnset, Sound::None, false, true},
                      RuleCase{L"Zoom.exe", L"", kUnset},
                      RuleCase{L"Zoom.exe", L"D:\\Films\\film.mp4", kMovieByExtension},
                      RuleCase{L"Zoom.exe", L"", kVoiceByRule, Sound::None, false, true},
                      // No extension, and a dot in the folder only.
                      RuleCase{L"notepad.exe", L"D:\\My.mp3\\readme", kUnset},
                      RuleCase{L"vlc.exe", L"D:\\Talks\\lecture.mp4", kVoiceByAnalysis, Sound::Speech},
                      // A player that no name rule knows: the extension's result is the
                      // first, and it carries the rejection.
                      RuleCase{L"Player.exe", L"D:\\Films\\film.mp4", kMovieByExtension, Sound::WideSpeech, true},
                      // A rejection without any result is not published.
                      RuleCase{L"notepad.exe", L"D:\\Data\\recording.xyz", kUnset, Sound::Steady}));

TEST_F(SessionRulesTest, AnalysisNeedsAFileStreamFactsAndSamples) {
    CRefPtr<CAudioSession> session = PlayingSession(L"C:\\Apps\\vlc.exe");
    ASSERT_TRUE(session);
    // Samples and facts, but no file open: nothing to analyse.
    session->AudioStreamBasicInfo.set(MakeRef<CAudioStreamBasicInfo>(1, kRate, 16, 30.0));
    session->SampleBuffer.set(SpeechLike(1, kRate, 4));
    EXPECT_EQ(SessionResult(*session), kMovieByName);
    // The file, but the facts gone.
    session->AudioStreamBasicInfo.set(nullptr);
    session->OpenedMediaFilePath.set(L"D:\\Talks\\lecture.mkv");
    EXPECT_EQ(SessionResult(*session), kMovieByName);
    // Everything there: speech.
    session->AudioStreamBasicInfo.set(MakeRef<CAudioStreamBasicInfo>(1, kRate, 16, 30.0));
    EXPECT_EQ(SessionResult(*session).Category, CategoryVoice);
}

TEST_F(SessionRulesTest, NothingResetsAResultWhenItsInputsGo) {
    CRefPtr<CAudioSession> session = PlayingSession(L"C:\\Apps\\Player.exe");
    ASSERT_TRUE(session);
    session->OpenedMediaFilePath.set(L"D:\\Music\\song.mp3");
    ASSERT_EQ(SessionResult(*session), kMusicByExtension);
    // The session stops and loses its process and its file; what it was
    // found to play stays.
    ASSERT_TRUE(Audio().SetSessionState(sessionId, AudioSessionStateInactive));
    Settle();
    EXPECT_FALSE(session->ProcessInfo.value());
    EXPECT_TRUE(session->OpenedMediaFilePath.value().empty());
    EXPECT_EQ(SessionResult(*session), kMusicByExtension);
    EXPECT_EQ(SessionResult(*session).Source, SourceLocalAnalysis);
}

}  // namespace
}  // namespace qv::test
