// One session's own judgement, on the simulated machine: the name rules of
// its process, the extension of the file it plays, and the sample analysis,
// in that order, with a sure result closing the door on the later steps.
// The facts of the file are set on the model's session directly, as the
// lister of open files and the decoder would.
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
    CRefPtr<CAudioSession> PlayingSession(const std::wstring& imagePath, uint32_t featureMode = 0) {
        EXPECT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
        EXPECT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_AutoPresetFeatureMode, SimPropertyUi4(featureMode)));
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

    // A file of 30 s at kRate and 16 bits, with its first seconds.
    static void PlayFile(CAudioSession& session, uint32_t channels, Samples samples, const std::wstring& path) {
        OpenFile(session, {path, MakeRef<CAudioStreamBasicInfo>(channels, kRate, 16, 30.0), std::move(samples)});
    }

    static constexpr uint32_t kPid = 3100;
    std::wstring sessionId;
    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CAudioSessionManager> manager;
};

// ---- Name rules and file extensions

struct NameCase {
    const wchar_t* image;
    const wchar_t* file;
    CClassification expected;
};

void PrintTo(const NameCase& c, std::ostream* os) { *os << WideToUtf8(c.image) << " + \"" << WideToUtf8(c.file) << "\""; }

class NameAndExtensionTest : public SessionRulesTest, public ::testing::WithParamInterface<NameCase> {};

TEST_P(NameAndExtensionTest, GiveTheSessionsClassification) {
    const NameCase& c = GetParam();
    CRefPtr<CAudioSession> session = PlayingSession(std::wstring(L"C:\\Apps\\") + c.image);
    ASSERT_TRUE(session);
    if (*c.file) session->OpenedMediaFilePath.set(c.file);
    const CClassification result = SessionResult(*session);
    EXPECT_EQ(result, c.expected);
    EXPECT_EQ(result.Source, c.expected.Source);
    EXPECT_EQ(result.VoiceRejected, false);
}

const CClassification kUnset{};
const CClassification kMovieByName{CategoryMovie, 0.8f, 10, SourceSessionRules};
const CClassification kMovieByExtension{CategoryMovie, 0.8f, 10, SourceLocalAnalysis};
const CClassification kMusicByExtension{CategoryMusic, 0.8f, 20, SourceLocalAnalysis};
const CClassification kMusicByName{CategoryMusic, 0.8f, 20, SourceSessionRules};
const CClassification kSureMovie{CategoryMovie, 1.0f, 10, SourceSessionRules};
const CClassification kGame{CategoryGame, 1.0f, 0, SourceSessionRules};

INSTANTIATE_TEST_SUITE_P(
    Rules, NameAndExtensionTest,
    ::testing::Values(
        NameCase{L"vlc.exe", L"", kMovieByName}, NameCase{L"VLC Portable.exe", L"", kMovieByName},
        NameCase{L"vlc.exe", L"D:\\Music\\song.MP3", kMusicByExtension},
        // The extension's Movie equals the name's in all that counts, so the
        // value stored from the name stays, Source included.
        NameCase{L"vlc.exe", L"D:\\Films\\film.Mp4", kMovieByName},
        NameCase{L"myvlc.exe", L"D:\\Films\\film.mp4", kMovieByExtension},
        NameCase{L"vlc.exe", L"D:\\Films\\film.mkv", kMovieByName},
        // A rule word further inside the name is no rule.
        NameCase{L"myvlc.exe", L"", kUnset}, NameCase{L"myvlc.exe", L"D:\\Music\\song.mp3", kMusicByExtension},
        // A sure name rule ends the walk before the extension.
        NameCase{L"PowerDVD18.exe", L"D:\\Music\\song.mp3", kSureMovie},
        NameCase{L"Video.UI.exe", L"", kMovieByName}, NameCase{L"Video.UI.exe", L"D:\\Music\\song.MP3", kMusicByExtension},
        NameCase{L"movie.ui.exe", L"D:\\Films\\clip.webm", kMovieByName},
        NameCase{L"VideoPlayer.exe", L"D:\\Music\\track.wav", kMusicByExtension},
        NameCase{L"wmplayer.exe", L"D:\\Notes\\list.txt", kMusicByName},
        NameCase{L"Borderlands3.exe", L"D:\\Music\\song.mp3", kGame},
        NameCase{L"notepad.exe", L"D:\\Notes\\list.txt", kUnset},
        // No extension, and a dot in the folder only.
        NameCase{L"notepad.exe", L"D:\\My.mp3\\readme", kUnset}));

// ---- The sample analysis inside the session's judgement

TEST_F(SessionRulesTest, SpeechLikeSamplesMakeVoiceFromLocalAnalysis) {
    CRefPtr<CAudioSession> session = PlayingSession(L"C:\\Apps\\vlc.exe");
    ASSERT_TRUE(session);
    PlayFile(*session, 1, SpeechLike(1, kRate, 4), L"D:\\Talks\\lecture.mp4");
    const CClassification result = SessionResult(*session);
    EXPECT_EQ(result, (CClassification{CategoryVoice, 1.0f, 30}));
    EXPECT_EQ(result.Source, SourceLocalAnalysis);
    EXPECT_FALSE(result.VoiceRejected);
}

TEST_F(SessionRulesTest, WideStereoIsRejectedAndTheExtensionSpeaks) {
    // A player that no name rule knows: the extension's result is the first,
    // and it carries the rejection.
    CRefPtr<CAudioSession> session = PlayingSession(L"C:\\Apps\\Player.exe");
    ASSERT_TRUE(session);
    PlayFile(*session, 2, SpeechLike(2, kRate, 4, /*channelsAlike=*/false), L"D:\\Films\\film.mp4");
    const CClassification result = SessionResult(*session);
    EXPECT_EQ(result, kMovieByExtension);
    EXPECT_TRUE(result.VoiceRejected);
}

TEST_F(SessionRulesTest, ARejectionWithoutAnyResultIsNotPublished) {
    CRefPtr<CAudioSession> session = PlayingSession(L"C:\\Apps\\notepad.exe");
    ASSERT_TRUE(session);
    PlayFile(*session, 2, Steady(2, kRate, 4), L"D:\\Data\\recording.xyz");
    const CClassification result = SessionResult(*session);
    EXPECT_EQ(result.Category, CategoryUndefined);
    EXPECT_FALSE(result.VoiceRejected);
}

TEST_F(SessionRulesTest, ASureNameRuleSkipsTheAnalysis) {
    CRefPtr<CAudioSession> session = PlayingSession(L"C:\\Apps\\PowerDVD.exe");
    ASSERT_TRUE(session);
    PlayFile(*session, 1, SpeechLike(1, kRate, 4), L"D:\\Talks\\lecture.mp4");
    EXPECT_EQ(SessionResult(*session), kSureMovie);
}

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

TEST_F(SessionRulesTest, UnderFeatureModeOneTheAnalysisIsSkipped) {
    CRefPtr<CAudioSession> session = PlayingSession(L"C:\\Apps\\vlc.exe", /*featureMode=*/1);
    ASSERT_TRUE(session);
    PlayFile(*session, 2, SpeechLike(2, kRate, 4, /*channelsAlike=*/false), L"D:\\Films\\film.mp4");
    const CClassification result = SessionResult(*session);
    EXPECT_EQ(result, kMovieByExtension);
    EXPECT_FALSE(result.VoiceRejected) << "no analysis, so nothing was rejected";
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
