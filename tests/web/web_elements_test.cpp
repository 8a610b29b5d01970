// Elements and script nodes hang themselves on their page by its id text,
// and move through the page's collections as they change page or play.
#include <gtest/gtest.h>

#include "web_fixture.h"

namespace qv::test {
namespace {

using WebElementsTest = WebModelTest;

template <class Collection, class T>
bool In(const Collection& collection, const CRefPtr<T>& item) {
    for (const auto& entry : collection)
        if (entry.get() == item.get()) return true;
    return false;
}

TEST_F(WebElementsTest, NodesOfAnUnseenPageMakeItAndEnterItsCollections) {
    CRefPtr<CWebVideoElement> video = Video(1, 7);
    auto audio = Node<CWebAudioElement>(2, "web-audio-element", 7);
    auto script = Node<CWebScriptNode>(3, "web-script-node", 7);

    CRefPtr<CWebPage> page = Page(7);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->Type, "web-page");
    EXPECT_EQ(video->WebPage->Lock(), page);
    EXPECT_EQ(video->pageID.value(), PageKey(7));
    EXPECT_EQ(page->WebNodes.size(), 3u);
    EXPECT_EQ(page->MediaElements.size(), 2u);
    EXPECT_TRUE(In(page->VideoElements, video) && In(page->PlayingVideoElements, video));
    EXPECT_TRUE(In(page->PlayingMediaElements, video));
    EXPECT_TRUE(In(page->AudioElements, audio) && !In(page->PlayingAudioElements, audio));
    EXPECT_TRUE(In(page->ScriptNodes, script));
}

TEST_F(WebElementsTest, AMovedElementCarriesItsPlayingAlong) {
    CRefPtr<CWebVideoElement> video = Video(1, 1);
    CRefPtr<CWebPage> a = Page(1);

    video->pageId.set(FormatWebObjectId(PageKey(2)));
    CRefPtr<CWebPage> b = Page(2);
    EXPECT_TRUE(a->WebNodes.empty() && a->MediaElements.empty() && a->PlayingMediaElements.empty());
    EXPECT_TRUE(a->VideoElements.empty() && a->PlayingVideoElements.empty());
    EXPECT_TRUE(In(b->WebNodes, video) && In(b->VideoElements, video) && In(b->PlayingVideoElements, video));
    EXPECT_TRUE(In(b->PlayingMediaElements, video));

    // An empty id forgets the number but not the page.
    video->pageId.set("");
    EXPECT_EQ(video->pageID.value(), WebObjectId{});
    EXPECT_EQ(video->WebPage->Lock(), b);
    EXPECT_TRUE(In(b->PlayingVideoElements, video));
}

TEST_F(WebElementsTest, PlayingCountsItsEdgesOnly) {
    CRefPtr<CWebVideoElement> video = Video(1, 1);
    CRefPtr<CWebPage> page = Page(1);
    video->playing.set(true);
    EXPECT_EQ(page->PlayingMediaElements.size(), 1u);
    EXPECT_EQ(page->PlayingVideoElements.size(), 1u);

    // Length on an element that plays nowhere changes nothing else.
    video->playing.set(false);
    video->duration.set(42.0f);
    EXPECT_TRUE(page->PlayingMediaElements.empty() && page->PlayingVideoElements.empty());
    EXPECT_EQ(page->VideoElements.size(), 1u);
}

}  // namespace
}  // namespace qv::test
