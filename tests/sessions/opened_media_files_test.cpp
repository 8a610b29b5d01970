// A player's session and the lister of its open files on the simulated
// machine: when the lister runs and with what command line, how its interop
// file is read, which path the session takes, and what the file then tells.
#include <mutex>

#include <gtest/gtest.h>

#include "classify/content_classifier_log.h"
#include "core/text.h"
#include "platform/codes.h"
#include "sessions/interop_file_format.h"
#include "support/model_fixture.h"

namespace qv::test {
namespace {

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";
constexpr uint32_t kVlc = 3000;
constexpr uint32_t kPowerDvd = 3100;
constexpr uint32_t kNotepad = 3200;
const std::wstring kFilm = L"D:\\Films\\film.mp4";
const std::wstring kSong = L"D:\\Music\\song.wav";

std::vector<uint8_t> Listing(std::vector<std::wstring> video, std::vector<std::wstring> audio) {
    return EncodeInteropFile({std::move(video), std::move(audio)});
}

// The last argument of the lister's command line: the interop file's path.
std::wstring InteropPathOf(const std::wstring& commandLine) {
    const std::size_t end = commandLine.rfind(L'"');
    const std::size_t start = commandLine.rfind(L'"', end - 1);
    return commandLine.substr(start + 1, end - start - 1);
}

class OpenedMediaFilesTest : public ModelTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
        ASSERT_TRUE(Processes().StartProcess(kVlc, L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe"));
        ASSERT_TRUE(Processes().StartProcess(kPowerDvd, L"C:\\Program Files\\CyberLink\\PowerDVD.exe"));
        ASSERT_TRUE(Processes().StartProcess(kNotepad, L"C:\\Windows\\notepad.exe"));
        SimMediaFile film;
        film.duration100ns = 50000000;
        film.buffers.assign(3, std::vector<uint8_t>(400, 1));
        h.platform->SimMedia->PutMediaFile(kFilm, film);
        SimMediaFile song = film;
        song.channels = 1;
        h.platform->SimMedia->PutMediaFile(kSong, song);
        // The lister answers with what the test has set, by the path on its
        // command line, as the real one does.
        Processes().SetCreateProcessHandler([this](const std::wstring&, const std::wstring& commandLine) {
            std::lock_guard lock(listerMutex);
            commandLines.push_back(commandLine);
            const std::wstring path = InteropPathOf(commandLine);
            h.platform->SimFiles->WriteAt(path, 0, answer.data(), static_cast<uint32_t>(answer.size()));
            return exitCode;
        });
        devices = StartDeviceManager({kSpeakers});
        Settle();
    }
    // A new playing session of the process, watched; it returns once the
    // lister's first run for it has been answered and read (if it is listed).
    CRefPtr<CAudioSession> Play(uint32_t pid, bool listed = true) {
        const std::size_t before = Runs();
        sessionId = Audio().AddSession(
            kSpeakers, {.processId = pid, .state = AudioSessionStateActive, .announce = manager != nullptr});
        if (!manager) manager = WatchSessions(FindDevice(*devices, kSpeakers));
        Settle();
        CRefPtr<CAudioSession> session = FindSession(manager->audioSessions, sessionId);
        EXPECT_TRUE(session && session->ProcessInfo.value());
        if (listed) {
            EXPECT_TRUE(h.RunUntil([&] { return Runs() > before; }));
        }
        return session;
    }
    std::size_t Runs() {
        std::lock_guard lock(listerMutex);
        return commandLines.size();
    }
    void Answer(std::vector<uint8_t> bytes, uint32_t code = 0) {
        std::lock_guard lock(listerMutex);
        answer = std::move(bytes);
        exitCode = code;
    }
    uint64_t Decodes() { return h.platform->SimMedia->Failures().CallCount(L"MFCreateSourceReaderFromURL"); }

    std::wstring sessionId;
    std::mutex listerMutex;
    std::vector<std::wstring> commandLines;
    std::vector<uint8_t> answer = Listing({}, {});
    uint32_t exitCode = 0;
    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CAudioSessionManager> manager;
};

TEST_F(OpenedMediaFilesTest, APlayersVideoBeatsItsAudioAndGetsFactsButNoSamplesOverFourRuns) {
    Answer(Listing({kFilm, L"D:\\Films\\other.mkv"}, {kSong}));
    CRefPtr<CAudioSession> session = Play(kVlc);
    auto earlier = std::make_shared<std::vector<float>>(3, 0.5f);
    session->SampleBuffer.set(earlier);
    EXPECT_TRUE(h.RunUntil([&] { return session->AudioStreamBasicInfo.value() != nullptr; }));

    const std::wstring interop = InteropPathOf(commandLines[0]);
    EXPECT_EQ(commandLines[0],
              L"\"C:\\Program Files\\Quorvane\\PELTAK64.exe\" {B5A1C3D7-9E42-4F06-8C1B-2D7E6F30A914} "
              L"3000 \"" +
                  interop + L"\"");
    EXPECT_TRUE(session->IsVideo.value());
    EXPECT_EQ(session->OpenedMediaFilePath.value(), kFilm);
    EXPECT_EQ(session->AudioStreamBasicInfo.value()->DurationSeconds, 5.0);
    EXPECT_EQ(session->SampleBuffer.value(), earlier);
    EXPECT_TRUE(h.log->MediaFile.has);
    EXPECT_EQ(h.log->MediaFile.fields.text, kFilm);

    // Three more runs, each 200 ms after the one before; the same path each
    // time is no change, so the file is examined once. A later action, due
    // well after a fifth run would be, finds no fifth.
    ASSERT_TRUE(h.RunUntil([&] { return Runs() == 4; }));
    auto after = CAsyncAction::Post(h.dispatcher, std::chrono::milliseconds(500), [](CRefPtr<CAsyncAction>) {});
    ASSERT_TRUE(h.RunUntil([&] { return after->Ran.load(); }));
    EXPECT_EQ(Runs(), 4u);
    EXPECT_EQ(Decodes(), 1u);

    // The interop file lives as long as the session.
    EXPECT_TRUE(h.platform->SimFiles->FileContent(interop));
    session = nullptr;
    manager = nullptr;
    Settle();
    EXPECT_FALSE(h.platform->SimFiles->FileContent(interop));
}

TEST_F(OpenedMediaFilesTest, WhatTheListerSaysOrFailsToSayDecidesThePath) {
    struct Case {
        const char* what;
        std::vector<uint8_t> answer;
        uint32_t exitCode;
        bool listed;  // ProcessOpenedMediaFiles is an object
        std::wstring path;
        bool isVideo;
    };
    std::vector<uint8_t> shortFile = {4, 0, 0, 0, 9, 9};
    std::vector<uint8_t> overrun = Listing({kFilm}, {});
    overrun[16] = 7;  // seven video entries, one there
    const Case cases[] = {
        {"audio only", Listing({}, {kSong, kFilm}), 0, true, kSong, false},
        {"both lists empty", Listing({}, {}), 0, true, L"", false},
        {"a total length of 4", shortFile, 0, true, L"", false},
        {"counts beyond the bytes", overrun, 0, true, L"", false},
        {"the lister fails", Listing({kFilm}, {}), 1, false, L"", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Answer(c.answer, c.exitCode);
        CRefPtr<CAudioSession> session = Play(kVlc);
        EXPECT_EQ(static_cast<bool>(session->ProcessOpenedMediaFiles.value()), c.listed);
        if (c.listed) {
            EXPECT_EQ(session->OpenedMediaFilePath.value(), c.path);
            EXPECT_EQ(session->IsVideo.value(), c.isVideo);
        }
        session->CancelPostedUpdateProcessOpenedMediaFiles();
        ASSERT_TRUE(Audio().RemoveSession(sessionId));
        Settle();
    }
    // The audio count read as a second, empty entry; the third has no bytes.
    EXPECT_TRUE(h.Traced(L"Interop file ignored: the video entry 2 of 7 does not fit."));
    // Only the audio file was examined; an empty path examines nothing.
    EXPECT_EQ(Decodes(), 1u);
}

TEST_F(OpenedMediaFilesTest, PowerDvdsFileIsNamedButNotOpenedAndANonPlayerIsNeverListed) {
    Answer(Listing({}, {kSong}));
    CRefPtr<CAudioSession> dvd = Play(kPowerDvd);
    EXPECT_EQ(dvd->OpenedMediaFilePath.value(), kSong);
    EXPECT_FALSE(dvd->IsVideo.value());
    EXPECT_FALSE(dvd->AudioStreamBasicInfo.value());
    EXPECT_EQ(Decodes(), 0u);
    dvd->CancelPostedUpdateProcessOpenedMediaFiles();

    CRefPtr<CAudioSession> notepad = Play(kNotepad, /*listed=*/false);
    notepad->ProcessOpenedMediaFiles.set(MakeRef<CProcessOpenedMediaFiles>());
    // Its next run sets the listing back to null without a lister.
    ASSERT_TRUE(h.RunUntil([&] { return !notepad->ProcessOpenedMediaFiles.value(); }));
    EXPECT_EQ(Runs(), 1u);
}

TEST_F(OpenedMediaFilesTest, WithoutAnInteropFileTheListerNeverRuns) {
    h.platform->SimFiles->Failures().Fail(L"CreateFileA", ERROR_ACCESS_DENIED);
    Answer(Listing({kFilm}, {}));
    const std::wstring id =
        Audio().AddSession(kSpeakers, {.processId = kVlc, .state = AudioSessionStateActive, .announce = false});
    manager = WatchSessions(FindDevice(*devices, kSpeakers));
    Settle();
    CRefPtr<CAudioSession> session = FindSession(manager->audioSessions, id);
    ASSERT_TRUE(session);
    EXPECT_TRUE(h.Traced(L"Failed to create interop file with error code 5."));
    session->ProcessOpenedMediaFiles.set(MakeRef<CProcessOpenedMediaFiles>());
    ASSERT_TRUE(h.RunUntil([&] { return !session->ProcessOpenedMediaFiles.value(); }));
    EXPECT_EQ(Runs(), 0u);

    h.platform->SimFiles->Failures().Fail(L"GetTempPathA", ERROR_ACCESS_DENIED);
    Audio().AddSession(kSpeakers, {.processId = kVlc, .state = AudioSessionStateActive, .announce = true});
    Settle();
    EXPECT_TRUE(h.Traced(L"Failed to retreive interop file's temporary directory with returned value 0."));
}

}  // namespace
}  // namespace qv::test
