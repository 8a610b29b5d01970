// The install offer's back-off and memory: the settings file that it keeps
// per browser, what each answer of the user does to it, and files that are
// not what the offer wrote.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "prompts/install_extension_toast.h"
#include "prompts/supported_app_lists.h"
#include "prompts/toast_time.h"
#include "support/model_fixture.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kEndpoint = L"{0.0.0.00000000}.{speakers}";
constexpr uint64_t kSecond = 10'000'000;  // in 100-ns ticks
const BrowserExtensionOffer kChrome{
    kEndpoint, L"ppoonnmmllkkjjiihhggffeeddccbbaa", L"Google", L"Chrome",
    L"--profile-directory=Default https://store.example/ppoonnmmllkkjjiihhggffeeddccbbaa"};
const BrowserExtensionOffer kEdge{
    kEndpoint, L"abcdefghijklmnopabcdefghijklmnop", L"Microsoft", L"Edge",
    L"--profile-directory=Default https://addons.example/abcdefghijklmnopabcdefghijklmnop"};

class InstallExtensionToastTest : public ModelTest {
protected:
    InstallExtensionToastTest() {
        Companion().InstallPackage(std::wstring(SupportedAppList(0)[0].packageFamilyName));
        Vendor().SetParameter(kEndpoint, {-1, -37, -1}, {1});
    }
    static std::wstring SettingsPath(const BrowserExtensionOffer& offer) {
        return std::wstring(CSimFiles::kLocalAppData) + L"\\Quorvane\\ContentClassifier\\Settings\\" +
               offer.extensionId + L".json";
    }
    // One attempt of the offer: the toast, and whether it reached the app.
    CRefPtr<CShowInstallBrowserExtensionToast> Offer(const BrowserExtensionOffer& offer, bool* shown = nullptr) {
        const size_t before = Companion().Messages().size();
        auto toast = MakeRef<CShowInstallBrowserExtensionToast>(h.trace, h.dispatcher, h.log, offer);
        toast->Connect();
        if (shown) *shown = Companion().Messages().size() > before;
        return toast;
    }
    bool Shows(const BrowserExtensionOffer& offer = kChrome) {
        bool shown = false;
        Offer(offer, &shown);
        return shown;
    }
    nlohmann::json Settings(const BrowserExtensionOffer& offer = kChrome) {
        auto content = h.platform->SimFiles->FileContent(SettingsPath(offer));
        if (!content) return nullptr;
        return nlohmann::json::parse(content->begin(), content->end(), nullptr, false);
    }
    std::string Now() { return FormatToastTime(LocalTimeOf(Clock().GetSystemTimeAsFileTime())); }
    void Answer(const ValueSet& answer) {
        Companion().Answer(answer);
        Settle();
    }
};

TEST_F(InstallExtensionToastTest, EachShowingDoublesTheWaitBeforeTheNext) {
    EXPECT_TRUE(Shows());
    const std::string firstShowing = Now();
    EXPECT_EQ(Settings(), (nlohmann::json{{"InstallChromeExtensionToastLastTime", firstShowing},
                                          {"InstallChromeExtensionToastIntervalSeconds", 43200}}));

    Clock().AdvanceClock(43199 * kSecond);
    EXPECT_FALSE(Shows());
    EXPECT_TRUE(h.Traced(L"Hasn't timed out yet, skip the toast\n"));
    EXPECT_EQ(Settings()["InstallChromeExtensionToastLastTime"], firstShowing);

    Clock().AdvanceClock(kSecond);
    EXPECT_TRUE(Shows());
    EXPECT_EQ(Settings()["InstallChromeExtensionToastIntervalSeconds"], 86400);
    Clock().AdvanceClock(86400 * kSecond);
    EXPECT_TRUE(Shows());
    EXPECT_EQ(Settings()["InstallChromeExtensionToastIntervalSeconds"], 172800);

    // The other browser keeps its own file and starts from the beginning.
    EXPECT_TRUE(Shows(kEdge));
    EXPECT_EQ(Settings(kEdge)["InstallEdgeExtensionToastIntervalSeconds"], 43200);
    EXPECT_EQ(Settings()["InstallChromeExtensionToastIntervalSeconds"], 172800);

    // A clock set back gives a huge elapsed time, and the toast shows.
    Clock().NowTicks -= 400 * 86400 * kSecond;
    EXPECT_TRUE(Shows());
}

TEST_F(InstallExtensionToastTest, NeverAgainHoldsAcrossToastsAndADismissalKeepsTheWait) {
    auto toast = Offer(kChrome);
    Answer({{L"ToastState", L"Dismissed"}});
    EXPECT_EQ(Settings()["InstallChromeExtensionToastIntervalSeconds"], 43200);
    EXPECT_THAT(Vendor().OpenedBrowsers(), IsEmpty());

    Clock().AdvanceClock(43200 * kSecond);
    toast = Offer(kChrome);
    Answer({{L"ToastState", L"Activated"},
            {L"ToastArguments", L"action=install_ext_no"},
            {L"ToastUserOptions", L"dontShowAgain"}});
    EXPECT_EQ(Settings()["ShowInstallChromeExtensionToast"], false);

    Clock().AdvanceClock(1000 * 86400 * kSecond);
    EXPECT_FALSE(Shows());
    EXPECT_TRUE(h.Traced(L"ShowInstallChromeExtensionToast = false\n"));
    // "No" without "never" only leaves the wait.
    EXPECT_TRUE(Shows(kEdge));
    Answer({{L"ToastState", L"Activated"}, {L"ToastArguments", L"action=install_ext_no"}});
    EXPECT_FALSE(Settings(kEdge).contains("ShowInstallEdgeExtensionToast"));
}

TEST_F(InstallExtensionToastTest, OpeningTheStoreRestartsTheBackOffUnlessTheBrowserSaysOtherwise) {
    auto toast = Offer(kChrome);
    Vendor().OpenBrowserAnswer = 1;
    Answer({{L"ToastState", L"Activated"}, {L"ToastArguments", L"action=install_ext_yes"}});
    EXPECT_THAT(Vendor().OpenedBrowsers(), ElementsAre(kChrome.browserArguments));
    EXPECT_EQ(Settings()["InstallChromeExtensionToastIntervalSeconds"], 43200);

    Clock().AdvanceClock(43200 * kSecond);
    toast = Offer(kChrome);
    Vendor().OpenBrowserAnswer = 0;
    Answer({{L"ToastState", L"Activated"}, {L"ToastArguments", L"action=install_ext_yes"}});
    EXPECT_EQ(Vendor().OpenedBrowsers().size(), 2u);
    EXPECT_EQ(Settings(), nlohmann::json::object());
    EXPECT_TRUE(Shows());
}

TEST_F(InstallExtensionToastTest, AFileThatIsNotTheOffersCountsAsTheDefaults) {
    const char* contents[] = {
        "",
        "{\"ShowInstallChromeExtensionToast\": fal",
        "[1, 2, 3]",
        "null",
        "{\"ShowInstallChromeExtensionToast\": \"no\", \"InstallChromeExtensionToastIntervalSeconds\": -5}",
        "{\"InstallChromeExtensionToastLastTime\": \"yesterday\", \"InstallChromeExtensionToastIntervalSeconds\": "
        "9e99}",
        "{\"InstallChromeExtensionToastLastTime\": 7}",
        "\xff\xfe{\x00}\x00",
    };
    for (const char* content : contents) {
        SCOPED_TRACE(content);
        h.platform->SimFiles->PutFile(SettingsPath(kChrome), std::vector<uint8_t>(content, content + strlen(content)));
        EXPECT_TRUE(Shows());
        EXPECT_EQ(Settings()["InstallChromeExtensionToastLastTime"], Now());
        EXPECT_EQ(Settings()["InstallChromeExtensionToastIntervalSeconds"], 43200);
    }
}

TEST_F(InstallExtensionToastTest, AnEndpointWithoutTheAutoPresetIsNeverOfferedAndNothingIsWritten) {
    Vendor().SetParameter(kEndpoint, {-1, -37, -1}, {0});
    EXPECT_FALSE(Shows());
    EXPECT_EQ(Settings(), nullptr);
}

// Pseudo-seconds with 31-day months: from 30 April 23:00 to 1 May 01:00 the
// count says 26 hours, and the text of a time reads back as itself.
TEST(ToastTimeTest, MonthsCountAsThirtyOneDaysAndTheTextReadsBack) {
    std::tm april{};
    ASSERT_TRUE(ParseToastTime("30-Apr-2026 23:00:00", april));
    std::tm may{};
    ASSERT_TRUE(ParseToastTime("01-may-2026 01:00:00", may));
    EXPECT_EQ(ToastClock(may) - ToastClock(april), 26 * 3600);
    EXPECT_EQ(FormatToastTime(april), "30-Apr-2026 23:00:00");
    for (const char* bad : {"", "30-Apr-2026", "30-Avr-2026 23:00:00", "32-Apr-2026 23:00:00", "30-Apr-2026 24:00:00",
                            "30-Apr-2026 23:00:00 ", "3O-Apr-2026 23:00:00"}) {
        std::tm t{};
        EXPECT_FALSE(ParseToastTime(bad, t)) << bad;
    }
}

}  // namespace
}  // namespace qv::test
