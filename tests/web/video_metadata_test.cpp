// The video's metadata on a watch page: from the page's script as the
// add-on delivers it, and from the watch page fetched on a worker thread.
#include <chrono>
#include <nlohmann/json.hpp>
#include <string>

#include <gtest/gtest.h>

#include "web/youtube_categories.h"
#include "web_fixture.h"

namespace qv::test {
namespace {

constexpr const char* kPage = "0000000000000001-0000000000000002";
constexpr const char* kVideo = "0000000000000003-0000000000000004";
constexpr const char* kScript = "0000000000000005-0000000000000006";
constexpr const char* kOtherScript = "0000000000000007-0000000000000008";

// The player's configuration as the page's script holds it: the player's
// response is a JSON text inside a JSON string, its quotes escaped.
const std::string kConfigScript =
    R"(var ytplayer = ytplayer || {};ytplayer.config = {"args":{"url":"/v\\u0026docid=abc\\u0026","player_response":")"
    R"({\"streamingData\":{\"formats\":[{\"audioSampleRate\":\"44100\",\"audioChannels\":2,\"approxDurationMs\":)"
    R"(\"213000\"}],\"adaptiveFormats\":[{\"audioSampleRate\":\"96000\"}]},\"videoDetails\":{\"shortDescription\":)"
    R"(\"Live \\u0026 loud\"},\"microformat\":{\"category\":\"Music\"}}"}};)";

class VideoMetadataTest : public WebModelTest {
protected:
    void Send(nlohmann::json changes) {
        std::string reply;
        web->ProcessMessage(4242, L"/usr/lib/chromium/chromium", nlohmann::json{{"changes", changes}}.dump(), reply);
    }
    // A watch page that plays its video, as the add-on reports it, with the
    // category table that an allowed add-on's page gets.
    CRefPtr<CWebPage> WatchPage(const char* version = "1.0") {
        Send(
            {{{"type", "web-page"}, {"id", kPage}, {"extensionVersion", version}},
             {{"type", "web-page"}, {"id", kPage}, {"url", "https://www.youtube.com/watch?v=abc"}, {"audible", true}},
             {{"type", "web-video-element"}, {"id", kVideo}, {"pageId", kPage}, {"playing", true}, {"duration", 213}}});
        CRefPtr<CWebPage> page(dynamic_cast<CWebPage*>(web->Objects.Find(*ParseWebObjectId(kPage)).get()));
        page->WebPageClassifier.value()->YoutubeCategoryClassifications.set(
            MakeRef<CYoutubeCategoryClassifications_ZK>());
        return page;
    }
    // The text comes in a change before the one that names the page: the
    // node is read as it enters the page's collection.
    void SendScript(const char* id, const std::string& text) {
        Send({{{"type", "web-script-node"}, {"id", id}, {"text", text}}});
        Send({{{"type", "web-script-node"}, {"id", id}, {"pageId", kPage}}});
    }
};

TEST_F(VideoMetadataTest, TheScriptGivesCategoryAndAudioFormat) {
    CRefPtr<CWebPage> page = WatchPage();
    std::string otherVideo = kConfigScript;
    SendScript(kOtherScript, otherVideo.replace(otherVideo.find("docid=abc"), 9, "docid=xyz"));
    EXPECT_FALSE(page->youtubeVideoInfo.value()) << "the configuration of another video does nothing";
    SendScript(kScript, kConfigScript);

    ASSERT_TRUE(page->youtubeVideoInfo.value());
    EXPECT_EQ(page->youtubeVideoInfo.value()->ShortDescription, L"Live & loud");
    EXPECT_EQ(page->youtubeCategoryId.value(), YoutubeCategoryIds().at(L"Music"));
    EXPECT_EQ(page->WebPageClassifier.value()->Classification.value(),
              (CClassification{CategoryMusic, 1.0f, 20, SourceWebPage}));
    const CAudioStreamBasicInfo* audio = page->AudioStreamBasicInfo->get();
    ASSERT_TRUE(audio);
    EXPECT_EQ(audio->ChannelCount, 2u);
    EXPECT_EQ(audio->SamplesPerSecond, 44100u) << "the adaptive streams' rate does not count";
    EXPECT_EQ(audio->BitsPerSample, 16u);
    EXPECT_EQ(audio->DurationSeconds, 213.0);
    EXPECT_EQ(h.log->VideoSite.fields, (VideoSiteFields{213.0, 44.1, 2}));

    // Any script with text leaving the page takes the script's result, even
    // one that gave none; the category stays until a new name comes.
    Send({{{"type", "web-script-node"}, {"id", kOtherScript}, {"pageId", "0000000000000009-000000000000000a"}}});
    EXPECT_FALSE(page->youtubeVideoInfo.value());
    EXPECT_FALSE(page->AudioStreamBasicInfo.value());
    EXPECT_TRUE(page->youtubeVideoRawInfoFromScript->empty());
    EXPECT_EQ(page->youtubeCategoryId.value(), YoutubeCategoryIds().at(L"Music"));
}

// The watch page as served: its JSON escaped once more, non-ASCII in
// UTF-8, read in chunks that cut a character in two.
class HtmlPageFetchTest : public VideoMetadataTest {
protected:
    void SetUp() override {
        http.PutBody(kWatchPath,
                     R"(<script>var r = "{\"audioSampleRate\":\"48000\",\"audioChannels\":2},)"
                     R"({\"approxDurationMs\":\"60000\"},\"shortDescription\":\"Caf)"
                     "\xC3\xA9"
                     R"(\",\"category\":\"Education\"}";</script>)",
                     7);
    }
    // The worker holds the action until its very end, after any delivery
    // was posted.
    void RunUntilTheWorkerEnds(const CRefPtr<CWebPage>& page) {
        const CWeakRefPtr<CAsyncAction> pending = page->PendingHtmlFetch;
        EXPECT_TRUE(h.RunUntil([&] { return !pending.Lock(); }));
        h.RunPending();
    }
    static constexpr const wchar_t* kWatchPath = L"/watch?v=abc&hl=en_US&html5=1&el=embedded";
    CSimHttp& http = *h.platform->SimHttp;
};

TEST_F(HtmlPageFetchTest, TheWatchPageGivesTheMetadata) {
    CRefPtr<CWebPage> page = WatchPage("2.0");
    RunUntilTheWorkerEnds(page);
    ASSERT_TRUE(page->youtubeVideoInfo.value());
    EXPECT_EQ(page->youtubeVideoInfo.value()->ShortDescription, L"Caf\u00e9");
    EXPECT_EQ(page->youtubeCategoryId.value(), YoutubeCategoryIds().at(L"Education"));
    EXPECT_EQ(page->AudioStreamBasicInfo.value()->SamplesPerSecond, 48000u);
    EXPECT_EQ(page->AudioStreamBasicInfo.value()->DurationSeconds, 60.0);
    ASSERT_EQ(http.Requests().size(), 1u);
    const SimHttpRequest request = http.Requests()[0];
    EXPECT_EQ(
        request.agent + L" " + request.verb + L" " + request.host + L":" + std::to_wstring(request.port) + request.path,
        std::wstring(L"UserAgent GET www.youtube.com:443") + kWatchPath);
    EXPECT_TRUE(request.secure);
}

TEST_F(HtmlPageFetchTest, AFailedFetchLeavesNothing) {
    http.Failures().Fail(L"WinHttpReadData", 12002);
    CRefPtr<CWebPage> page = WatchPage("2.0");
    RunUntilTheWorkerEnds(page);
    EXPECT_TRUE(http.WaitAllClosed(std::chrono::seconds(0)));
    EXPECT_TRUE(page->receivedYoutubeVideoRawInfoFromHtmlPage->empty());
    EXPECT_FALSE(page->youtubeVideoInfo.value());
}

// The flag goes down while the fetch is inside a read: the fetch stops at
// its next look and nothing comes back.
TEST_F(HtmlPageFetchTest, ACancelInTheMiddleDeliversNothing) {
    http.HoldNext(L"WinHttpReadData");
    CRefPtr<CWebPage> page = WatchPage("2.0");
    ASSERT_TRUE(h.RunUntil([&] { return http.WaitHeld(std::chrono::milliseconds(0)); }));
    page->extractYoutubeMetaFromHtmlPage.set(false);
    http.LetGo();
    RunUntilTheWorkerEnds(page);
    EXPECT_TRUE(http.WaitAllClosed(std::chrono::seconds(0)));
    EXPECT_TRUE(page->receivedYoutubeVideoRawInfoFromHtmlPage->empty());
    EXPECT_FALSE(page->youtubeVideoInfo.value());
}

// The page goes while its fetch is inside a read; its tear-down cancels,
// and the worker, which holds it only weakly, ends without touching it.
TEST_F(HtmlPageFetchTest, APageThatDiesDuringItsFetchIsLeftAlone) {
    http.HoldNext(L"WinHttpReadData");
    CRefPtr<CWebPage> page = WatchPage("2.0");
    ASSERT_TRUE(h.RunUntil([&] { return http.WaitHeld(std::chrono::milliseconds(0)); }));
    const CWeakRefPtr<CAsyncAction> pending = page->PendingHtmlFetch;
    const CWeakRefPtr<CWebPage> gone(page.get());
    web->Objects.Remove(page->Id);
    page = nullptr;
    ASSERT_FALSE(gone.Lock());
    http.LetGo();
    EXPECT_TRUE(h.RunUntil([&] { return !pending.Lock(); }));
    EXPECT_TRUE(http.WaitAllClosed(std::chrono::seconds(0)));
}

// Only a sender that sets the flag asks the site's video information; the
// main thread waits for the answer, a form-encoded query.
TEST_F(HtmlPageFetchTest, TheVideoInformationIsAskedWhenTheSenderSaysSo) {
    const wchar_t* path = L"/get_video_info?video_id=abc&hl=en_US&html5=1&el=embedded";
    http.PutBody(path,
                 "status=ok&player_response=%7B%22audioSampleRate%22%3A%2222050%22%2C%22category%22%3A%22"
                 "People+%26+Blogs%22%7D");
    CRefPtr<CWebPage> page = WatchPage();
    Send({{{"type", "web-page"}, {"id", kPage}, {"extractYoutubeMetaFromVideoId", true}}});
    ASSERT_TRUE(page->youtubeVideoInfo.value());
    EXPECT_EQ(page->youtubeCategoryId.value(), YoutubeCategoryIds().at(L"People & Blogs"));
    EXPECT_EQ(page->AudioStreamBasicInfo.value()->SamplesPerSecond, 22050u);
}

}  // namespace
}  // namespace qv::test
