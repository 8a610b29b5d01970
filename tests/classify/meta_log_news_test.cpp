// The meta log as the classification writes it, heard by a server on the meta
// log's own pipe: a change of the final classification prints what is known
// only when something is news, in a fixed order, and the fallback prints
// nothing. The records that other parts write (the media file of a player,
// the url of a page) are set here as those parts would set them.
#include <gtest/gtest.h>

#include "classifier_fixture.h"
#include "core/text.h"
#include "plugin_beside.h"
#include "sample_buffers.h"
#include "support/pipe_test_server.h"
#include "web/web_content_classifier.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

constexpr const wchar_t* kVlc = L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe";

class MetaLogNewsTest : public ClassifierTest {
protected:
    void SetUp() override { ASSERT_EQ(server.CreateError(), 0u); }

    void TearDown() override {
        if (devices)
            for (const CRefPtr<CWebPage>& page : pages) devices->WebContentClassifier()->AudibleWebPages.Remove(page.get());
        pages.clear();
        ClassifierTest::TearDown();
    }

    // Every line the log has sent so far. A line of the test's own goes last
    // and is waited for: the server takes one connection after the other, so
    // whatever the model wrote before it has arrived by then.
    std::vector<std::wstring> LinesSoFar() {
        const std::wstring marker = L"-- test marker " + std::to_wstring(++m_markers) + L" --\n";
        h.log->WriteLine(L"%s", marker);
        std::vector<std::wstring> lines;
        EXPECT_TRUE(h.RunUntil([&] {
            lines = Decode();
            return !lines.empty() && lines.back() == marker;
        }));
        std::vector<std::wstring> model;
        for (const std::wstring& line : lines)
            if (line.rfind(L"-- test marker ", 0) != 0) model.push_back(line);
        return model;
    }

    // Each connection is one line: 4 bytes of length, then UTF-16LE text
    // with its null.
    std::vector<std::wstring> Decode() {
        std::vector<std::wstring> lines;
        for (const PipeTestServer::Connection& connection : server.Connections()) {
            if (connection.size() != 2 || connection[1].size() < 2) {
                ADD_FAILURE() << "a meta log line that is not length and text";
                continue;
            }
            lines.push_back(Utf16LeToWide(connection[1].data(), connection[1].size() - 2));
        }
        return lines;
    }

    PipeTestServer server{h.platform->Pipes(), CContentClassifierLog::kPipeName};
    std::vector<CRefPtr<CWebPage>> pages;

private:
    int m_markers = 0;
};

TEST_F(MetaLogNewsTest, MovieToVoiceWithTheSameFileIsNoNews) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(kVlc)));
    ASSERT_TRUE(session);
    const std::wstring path = L"D:\\Talks\\keynote.mp4";
    h.log->MediaFile.Set({path});
    session->OpenedMediaFilePath.set(path);
    ASSERT_TRUE(WaitForHost(2));
    ASSERT_EQ(host.Words().back(), "Movie");

    // The same file turns out to hold speech: Voice, with nothing new to say.
    session->SampleBuffer.set(SpeechLike(1, 8000, 4));
    session->AudioStreamBasicInfo.set(MakeRef<CAudioStreamBasicInfo>(1, 8000, 16, 40.0));
    ASSERT_TRUE(WaitForHost(3));
    ASSERT_EQ(host.Words().back(), "Voice");
    EXPECT_EQ(LinesSoFar(), (std::vector<std::wstring>{
                                L"Media file: " + path + L"\n",
                                L"MODE: ____________ Movie ____________\n",
                            }));
}

TEST_F(MetaLogNewsTest, ANewUrlAfterAMediaFilePrintsTheUrlAlone) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> player = WaitForSession(Play(StartApp(kVlc)));
    ASSERT_TRUE(player);
    h.log->MediaFile.Set({L"D:\\Films\\film.mkv"});
    player->OpenedMediaFilePath.set(L"D:\\Films\\film.mkv");
    ASSERT_TRUE(WaitForHost(2));

    // A browser plays, at first with no page known for it.
    const uint32_t browser = StartApp(L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe");
    const uint32_t audio = StartApp(L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe", browser);
    ASSERT_TRUE(WaitForSession(Play(audio)));
    // Its page of music is reported: the page's classifier records the url
    // and clears the media file's record, as it does.
    CRefPtr<CWebPage> page = MakeRef<CWebPage>(h.trace, h.dispatcher, h.log);
    page->SourceProcessID.set(browser);
    CRefPtr<CWebPageClassifier> pageClassifier = MakeRef<CWebPageClassifier>(h.trace, h.dispatcher, h.log);
    pageClassifier->Classification.set({CategoryMusic, 0.8f, 20, SourceWebPage});
    page->WebPageClassifier.set(pageClassifier);
    h.log->MediaFile.Clear();
    h.log->Url.Set({L"https://music.example.com/album/1"});
    devices->WebContentClassifier()->AudibleWebPages.Add(page.get());
    pages.push_back(page);
    ASSERT_TRUE(WaitForHost(3));
    EXPECT_EQ(Final().Category, CategoryMusic);
    EXPECT_EQ(LinesSoFar(), (std::vector<std::wstring>{
                                L"Media file: D:\\Films\\film.mkv\n",
                                L"MODE: ____________ Movie ____________\n",
                                L"Url: https://music.example.com/album/1\n",
                                L"MODE: ____________ Music ____________\n",
                            }));
}

TEST_F(MetaLogNewsTest, TheNetworksQuestionAndAnswerFollowTheMediaFile) {
    PluginBeside plugin(*h.platform);
    ASSERT_TRUE(plugin.Place(L"zkaicc64_double_movie"));
    ASSERT_TRUE(plugin.Load());
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> session = WaitForSession(Play(StartApp(kVlc)));
    ASSERT_TRUE(session);
    h.log->MediaFile.Set({L"D:\\Films\\concert.mkv"});
    OpenFile(*session, StreamFacts(6, 48000, 24, 90.5, L"D:\\Films\\concert.mkv", /*isVideo=*/true));
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words().back(), "Movie");
    EXPECT_EQ(LinesSoFar(),
              (std::vector<std::wstring>{
                  L"Media file: D:\\Films\\concert.mkv\n",
                  L"NN: duration = 90.500000, sample rate = 48.000000, video = 1, bit resolution = 24, channel count = 6\n",
                  L"NN: [0.900000, 0.050000, 0.050000] (Movie)\n",
                  L"MODE: ____________ Movie ____________\n",
              }));
}

TEST_F(MetaLogNewsTest, MusicThenSilenceFallsBackAfterTwoSecondsWithoutAModeLine) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    const std::wstring id = Play(StartApp(L"C:\\Program Files\\Windows Media Player\\wmplayer.exe"));
    CRefPtr<CAudioSession> session = WaitForSession(id);
    ASSERT_TRUE(session);
    h.log->MediaFile.Set({L"D:\\Music\\album\\01.wma"});
    session->OpenedMediaFilePath.set(L"D:\\Music\\album\\01.wma");
    ASSERT_TRUE(WaitForHost(2));
    ASSERT_EQ(Final().Category, CategoryMusic);

    const auto silence = std::chrono::steady_clock::now();
    SetState(id, AudioSessionStateInactive);
    ASSERT_TRUE(WaitForHost(3));
    const HostRecord fallback = host.Records().back();
    // The same word a second time: the category is another.
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent", "AnyContent", "AnyContent"}));
    EXPECT_EQ(Final().Category, CategoryNone);
    EXPECT_GE(fallback.arrival - silence, 2010ms);
    EXPECT_LT(fallback.arrival - silence, 8s);
    EXPECT_EQ(LinesSoFar(), (std::vector<std::wstring>{
                                L"Media file: D:\\Music\\album\\01.wma\n",
                                L"MODE: ____________ Music ____________\n",
                            }));
}

}  // namespace
}  // namespace qv::test
