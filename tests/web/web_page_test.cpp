// The page's chain: the add-on's version, the address, whether the page
// really sounds, the video site's watch page, and the page's end.
#include <optional>

#include <gtest/gtest.h>

#include "support/observable_watchers.h"
#include "web_fixture.h"

namespace qv::test {
namespace {

using WebPageTest = WebModelTest;

struct VersionCase {
    std::optional<std::string> reported;
    uint32_t number;
    bool fromHtmlPage;
};

class WebPageVersionTest : public WebModelTest, public ::testing::WithParamInterface<VersionCase> {};

// Version 1.0, reported or assumed, reads the page's script alone.
TEST_P(WebPageVersionTest, DecidesWhereTheMetadataComesFrom) {
    CRefPtr<CWebPage> page = Page(1);
    if (GetParam().reported) page->extensionVersion.set(*GetParam().reported);
    EXPECT_EQ(page->extensionVersionNumber.value(), GetParam().number);
    EXPECT_TRUE(page->extractYoutubeMetaFromScript.value());
    EXPECT_FALSE(page->extractYoutubeMetaFromVideoId.value());
    EXPECT_EQ(page->extractYoutubeMetaFromHtmlPage.value(), GetParam().fromHtmlPage);
}

INSTANTIATE_TEST_SUITE_P(Versions, WebPageVersionTest,
                         ::testing::Values(VersionCase{std::nullopt, 0x1000000, false},
                                           VersionCase{"2.1.0.3", 0x2010003, true},
                                           VersionCase{"1.0.0.0", 0x1000000, false},
                                           VersionCase{"1.300", 0x12C0000, true},  // 300 cut to 44
                                           VersionCase{"beta", 0x1000000, false}));

TEST_F(WebPageTest, ANewVersionTurnsTheFlagsOffForTheChange) {
    CRefPtr<CWebPage> page = Page(1);
    PropertyWatcher script(page->extractYoutubeMetaFromScript);
    page->extensionVersion.set("2.1.0.3");
    EXPECT_EQ(script.values, (std::vector<bool>{false, true}));
}

TEST_F(WebPageTest, AudibleNeedsTheBrowsersFlagsAndAPlayingElement) {
    CRefPtr<CWebPage> page = AudiblePage(1, "https://radio.example/live");
    EXPECT_FALSE(page->IsAudible.value());
    Video(1, 1);
    EXPECT_TRUE(page->IsAudible.value());
    EXPECT_TRUE(Audible(page.get()));

    page->muted.set(true);
    EXPECT_FALSE(page->IsAudible.value());
    EXPECT_FALSE(Audible(page.get()));
    page->muted.set(false);
    page->audible.set(false);
    EXPECT_FALSE(Audible(page.get()));
}

// The count is tested after a removal: two playing, one stops, and the page
// counts as silent; the last one stops, and it stays as it was.
TEST_F(WebPageTest, AudibleElementsFollowTheCountAfterARemoval) {
    CRefPtr<CWebPage> page = AudiblePage(1, "https://radio.example/");
    CRefPtr<CWebVideoElement> first = Video(1, 1);
    CRefPtr<CWebVideoElement> second = Video(2, 1);
    first->playing.set(false);
    EXPECT_FALSE(page->HasAudibleElements.value());

    CRefPtr<CWebPage> other = AudiblePage(2, "https://radio.example/");
    CRefPtr<CWebVideoElement> only = Video(3, 2);
    only->playing.set(false);
    EXPECT_TRUE(other->HasAudibleElements.value());
}

TEST_F(WebPageTest, AnElementBeforeTheAddressCountsWhenTheAddressComes) {
    CRefPtr<CWebVideoElement> video = Video(1, 1);
    CRefPtr<CWebPage> page = Page(1);
    page->audible.set(true);
    EXPECT_FALSE(page->HasAudibleElements.value());
    page->url.set("https://radio.example/");
    EXPECT_TRUE(page->HasAudibleElements.value());
    EXPECT_TRUE(Audible(page.get()));
}

TEST_F(WebPageTest, NavigationTakesThePageOutAndPutsItBack) {
    CRefPtr<CWebPage> page = AudiblePage(1, "https://a.example:8080/x?q=1#top");
    Video(1, 1);
    EXPECT_EQ(page->urlPort.value(), "8080");
    PropertyWatcher audible(page->IsAudible);
    PropertyWatcher host(page->urlHost);

    page->url.set("https://b.example/");
    EXPECT_EQ(audible.values, (std::vector<bool>{false, true}));
    EXPECT_EQ(host.values, (std::vector<std::string>{"", "b.example"}));
    EXPECT_TRUE(page->urlPort->empty() && page->urlQuery->empty() && page->urlFragment->empty());
    EXPECT_TRUE(Audible(page.get()));
}

TEST_F(WebPageTest, AWatchPageWithAVideoOfKnownLength) {
    CRefPtr<CWebPage> page = AudiblePage(1, "https://www.youtube.com/watch?v=abc123&t=4");
    CRefPtr<CWebVideoElement> video = Video(1, 1);
    EXPECT_TRUE(page->isYoutube.value());
    EXPECT_EQ(page->youtubeVideoId.value(), "abc123");
    EXPECT_FALSE(page->HasYoutubeAudibleVideoElements.value());

    video->duration.set(120.0f);
    EXPECT_TRUE(page->HasYoutubeAudibleVideoElements.value());
    video->duration.set(0.0f);
    EXPECT_FALSE(page->HasYoutubeAudibleVideoElements.value());

    // The bare domain is not the video site.
    page->url.set("https://youtube.com/watch?v=abc123");
    EXPECT_FALSE(page->isYoutube.value());
}

// The whole chain comes down inside the removal: an audible watch page with
// a video of known length and a script.
TEST_F(WebPageTest, DisposalRemovesPageAndNodesOnTheNextDispatch) {
    CRefPtr<CWebPage> page = AudiblePage(1, "https://www.youtube.com/watch?v=abc");
    page->disposed.set(false);
    EXPECT_EQ(h.RunPending(), 0u);

    Video(1, 1)->duration.set(60.0f);
    Node<CWebScriptNode>(2, "web-script-node", 1);
    ASSERT_TRUE(page->HasYoutubeAudibleVideoElements.value() && Audible(page.get()));
    CWeakRefPtr<CWebPage> weak(page);
    page->disposed.set(true);
    page = nullptr;
    EXPECT_EQ(web->Objects.size(), 3u);
    h.RunPending();
    EXPECT_TRUE(web->Objects.empty());
    EXPECT_TRUE(web->WebPages.empty() && web->AudibleWebPages.empty());
    EXPECT_FALSE(weak.Lock());
}

}  // namespace
}  // namespace qv::test
