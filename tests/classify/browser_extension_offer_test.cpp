// A browser that plays on the classified endpoint is offered its add-on
// through the companion app: only Chrome and Edge, only when the vendor
// library says the add-on is missing, and never twice while an offer is open.
#include <gtest/gtest.h>

#include "classifier_fixture.h"
#include "prompts/supported_app_lists.h"

namespace qv::test {
namespace {

class BrowserExtensionOfferTest : public ClassifierTest {
protected:
    void SetUp() override {
        Companion().InstallPackage(std::wstring(SupportedAppList(0)[0].packageFamilyName));
        Vendor().SetParameter(kSpeakers, {-1, -37, -1}, {1});
        Vendor().ExtensionInstalledAnswer = 1;
    }
    // The toast names that reached the companion app, in order.
    std::vector<std::wstring> Offers() {
        std::vector<std::wstring> names;
        for (const auto& sent : Companion().Messages())
            for (const auto& [name, value] : sent.message) names.push_back(name);
        return names;
    }
    // A session of the image plays, and its process is known to the model.
    void PlayApp(const std::wstring& image) {
        // The offer, if any, is made in the classifier's handler of the
        // session's process; that handler's end is the event to wait for.
        const std::wstring handled = L"} CContentClassifier::activeAudioSessionProcessInfo_Changed";
        const size_t before = TraceCount(handled);
        ASSERT_TRUE(WaitForSession(Play(StartApp(image))));
        ASSERT_TRUE(WaitForTrace(handled, before + 1));
    }
};

TEST_F(BrowserExtensionOfferTest, ChromeAndEdgeAreOfferedTheirAddOnOnceWhileTheOfferIsOpen) {
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    ASSERT_NO_FATAL_FAILURE(PlayApp(L"C:\\Program Files\\Mozilla Firefox\\firefox.exe"));
    EXPECT_TRUE(Offers().empty());
    ASSERT_NO_FATAL_FAILURE(PlayApp(L"C:\\Program Files\\Google\\Chrome\\Application\\Chrome.exe"));
    EXPECT_EQ(Offers(), (std::vector<std::wstring>{L"ShowInstallChromeExtensionToast"}));
    // Still open: a second tab's session makes no second offer.
    ASSERT_NO_FATAL_FAILURE(PlayApp(L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe"));
    ASSERT_NO_FATAL_FAILURE(PlayApp(L"C:\\Program Files (x86)\\Microsoft\\Edge\\Application\\msedge.exe"));
    EXPECT_EQ(Offers(),
              (std::vector<std::wstring>{L"ShowInstallChromeExtensionToast", L"ShowInstallEdgeExtensionToast"}));

    // Answered: the next session may offer again, and the back-off says no.
    Companion().Answer({{L"ToastState", L"Dismissed"}});
    ASSERT_TRUE(WaitForTrace(L"Closing connection ...\n", 2));
    ASSERT_NO_FATAL_FAILURE(PlayApp(L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe"));
    EXPECT_TRUE(h.Traced(L"Hasn't timed out yet, skip the toast\n"));
    EXPECT_EQ(Offers().size(), 2u);
}

TEST_F(BrowserExtensionOfferTest, NoOfferWhenTheLibrarySaysAnythingButOne) {
    Vendor().ExtensionInstalledAnswer = 0;
    ASSERT_NO_FATAL_FAILURE(Start());
    ASSERT_TRUE(WaitForHost(1));
    ASSERT_NO_FATAL_FAILURE(PlayApp(L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe"));
    EXPECT_TRUE(Offers().empty());
}

}  // namespace
}  // namespace qv::test
