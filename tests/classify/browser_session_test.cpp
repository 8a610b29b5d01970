// A browser's audio session stands for the audible page of that browser: the
// page's classifier speaks for it, and without a matching page the session is
// skipped, never judged by its own classifier. Pages count only on the
// default endpoint. The web objects are made by hand here, as the native-host
// pipe would make them.
#include <gtest/gtest.h>

#include "classifier_fixture.h"
#include "web/web_content_classifier.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

class BrowserSessionTest : public ClassifierTest {
protected:
    void TearDown() override {
        // Pages leave the collection before they go: it holds raw pointers.
        if (devices)
            for (const CRefPtr<CWebPage>& page : m_pages) Web().AudibleWebPages.Remove(page.get());
        m_pages.clear();
        ClassifierTest::TearDown();
    }

    CWebContentClassifier& Web() { return *devices->WebContentClassifier(); }

    // The browser and its audio child, whose session plays.
    std::wstring PlayInBrowser() {
        m_browser = StartApp(L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe");
        const uint32_t audio = StartApp(L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe", m_browser);
        return Play(audio);
    }

    // An audible page of a browser process, with a classifier of that result
    // or none.
    CRefPtr<CWebPage> AudiblePage(uint32_t browserPid, std::optional<CClassification> result) {
        CRefPtr<CWebPage> page = MakeRef<CWebPage>(h.trace, h.dispatcher, h.log);
        page->SourceProcessID.set(browserPid);
        if (result) {
            CRefPtr<CWebPageClassifier> pageClassifier = MakeRef<CWebPageClassifier>(h.trace, h.dispatcher, h.log);
            pageClassifier->Classification.set(*result);
            page->WebPageClassifier.set(pageClassifier);
        }
        Web().AudibleWebPages.Add(page.get());
        m_pages.push_back(page);
        return page;
    }

    uint32_t m_browser = 0;
    std::vector<CRefPtr<CWebPage>> m_pages;
};

const CClassification kVideoSite{CategoryMovie, 1.0f, 10, SourceWebPage};

TEST_F(BrowserSessionTest, WithoutAMatchingPageTheSessionIsSkipped) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> session = WaitForSession(PlayInBrowser());
    ASSERT_TRUE(session);
    ASSERT_TRUE(session->WebBrowserProcessInfo.value());
    // A page of another browser process does not match.
    AudiblePage(m_browser + 1000, kVideoSite);
    ASSERT_TRUE(WaitForTrace(L"Skipped audio session classifier.\n"));
    EXPECT_TRUE(h.Traced(L"No matching web page classifier found.\n"));
    h.RunFor(200ms);
    EXPECT_EQ(host.Words(), (std::vector<std::string>{"AnyContent"}));
    EXPECT_EQ(Final().Category, CategoryNone);
}

TEST_F(BrowserSessionTest, TheMatchingPagesClassificationStandsForTheSession) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    CRefPtr<CAudioSession> session = WaitForSession(PlayInBrowser());
    ASSERT_TRUE(session);
    CRefPtr<CWebPage> page = AudiblePage(m_browser, kVideoSite);
    ASSERT_TRUE(WaitForHost(2));
    EXPECT_EQ(host.Words().back(), "Movie");
    EXPECT_TRUE(h.Traced(L"Found matching web page classifier.\n"));
    EXPECT_EQ(Final(), kVideoSite);
    EXPECT_EQ(Final().Source, SourceWebPage);

    // The page's classification changes: the session follows it.
    page->WebPageClassifier.value()->Classification.set({CategoryVoice, 1.0f, 30, SourceWebPage});
    ASSERT_TRUE(WaitForHost(3));
    EXPECT_EQ(host.Words().back(), "Voice");
}

TEST_F(BrowserSessionTest, OnlyTheFirstPageOfTheBrowserIsLookedAt) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    ASSERT_TRUE(WaitForSession(PlayInBrowser()));
    // The first page of the browser has no classifier yet; a later one has.
    AudiblePage(m_browser, std::nullopt);
    AudiblePage(m_browser, kVideoSite);
    ASSERT_TRUE(WaitForTrace(L"Skipped audio session classifier.\n"));
    h.RunFor(200ms);
    EXPECT_EQ(host.Count(), 1u);
    EXPECT_FALSE(h.Traced(L"Found matching web page classifier.\n"));
}

TEST_F(BrowserSessionTest, OffTheDefaultEndpointBrowserSessionsAreSkipped) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    ASSERT_TRUE(WaitForSession(PlayInBrowser()));
    AudiblePage(m_browser, kVideoSite);
    ASSERT_TRUE(WaitForHost(2));
    ASSERT_EQ(host.Words().back(), "Movie");

    // The headphones become the default output: the speakers' classifier lets
    // go of the pages, and the session behind the browser counts for nothing.
    const auto change = std::chrono::steady_clock::now();
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eMultimedia, kHeadphones));
    ASSERT_TRUE(WaitForTrace(L"Web content classifier is not set, ignore audio session classifier.\n"));
    EXPECT_FALSE(classifier->WebContentClassifier.value());
    // Held for two seconds, then the fallback.
    ASSERT_TRUE(WaitForHost(3));
    EXPECT_EQ(host.Words().back(), "AnyContent");
    EXPECT_GE(host.Records().back().arrival - change, 2000ms);
    EXPECT_EQ(Final().Category, CategoryNone);
}

}  // namespace
}  // namespace qv::test
