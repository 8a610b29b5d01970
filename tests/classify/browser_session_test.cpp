// A browser's audio session stands for the audible page of that browser: the
// page's classifier speaks for it, and without a matching page the session is
// skipped, never judged by its own classifier. Pages count only on the
// default endpoint.
#include <gtest/gtest.h>

#include "classifier_fixture.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

class BrowserSessionTest : public ClassifierTest {};

const CClassification kVideoSite{CategoryMovie, 1.0f, 10, SourceWebPage};

TEST_F(BrowserSessionTest, WithoutAMatchingPageTheSessionIsSkipped) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> session = WaitForSession(PlayInBrowser());
    ASSERT_TRUE(session);
    ASSERT_TRUE(session->WebBrowserProcessInfo.value());
    // A page of another browser process does not match, and of the browser's
    // own pages only the first is looked at, which has no classifier yet.
    AudiblePage(browser + 1000, kVideoSite);
    AudiblePage(browser, std::nullopt);
    AudiblePage(browser, kVideoSite);
    ASSERT_TRUE(WaitForTrace(L"Skipped audio session classifier.\n"));
    h.RunFor(200ms);
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent"}));
    EXPECT_FALSE(h.Traced(L"Found matching web page classifier.\n"));
    EXPECT_EQ(Final().Category, CategoryNone);
}

TEST_F(BrowserSessionTest, TheMatchingPageSpeaksForTheSessionOnTheDefaultEndpointOnly) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    ASSERT_TRUE(WaitForSession(PlayInBrowser()));
    CRefPtr<CWebPage> page = AudiblePage(browser, kVideoSite);
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words().back(), "Movie");
    EXPECT_EQ(Final(), kVideoSite);
    EXPECT_EQ(Final().Source, SourceWebPage);

    // The page's classification changes: the session follows it.
    page->WebPageClassifier.value()->Classification.set({CategoryVoice, 1.0f, 30, SourceWebPage});
    ASSERT_TRUE(WaitForHost(3));
    EXPECT_EQ(host.Words().back(), "Voice");

    // The headphones become the default output: the speakers' classifier lets
    // go of the pages, and the session behind the browser counts for nothing.
    const auto change = std::chrono::steady_clock::now();
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eMultimedia, kHeadphones));
    ASSERT_TRUE(WaitForTrace(L"Web content classifier is not set, ignore audio session classifier.\n"));
    EXPECT_FALSE(classifier->WebContentClassifier.value());
    // Held for two seconds, then the fallback.
    ASSERT_TRUE(WaitForHost(4));
    EXPECT_EQ(host.Words().back(), "AnyContent");
    EXPECT_GE(host.Records().back().arrival - change, 2000ms);
    EXPECT_EQ(Final().Category, CategoryNone);
}

}  // namespace
}  // namespace qv::test
