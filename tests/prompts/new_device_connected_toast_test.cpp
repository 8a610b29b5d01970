// The new-device toast reads the endpoint's LobeFit record to decide, and
// writes only an acceptance back into it, keeping the bytes it doesn't know.
#include <gtest/gtest.h>

#include <optional>

#include "prompts/new_device_connected_toast.h"
#include "prompts/supported_app_lists.h"
#include "support/model_fixture.h"

namespace qv::test {
namespace {

const std::wstring kEndpoint = L"{0.0.0.00000000}.{usb-headset}";
constexpr CSimVendorApi::Address kLobeFit{-1, -36, -1};
constexpr CSimVendorApi::Address kRecord{5, 148, -1};

class NewDeviceConnectedToastTest : public ModelTest {
protected:
    NewDeviceConnectedToastTest() {
        Companion().InstallPackage(std::wstring(SupportedAppList(0)[0].packageFamilyName));
    }
    CRefPtr<CShowNewDeviceConnectedToast> Show() {
        auto toast = MakeRef<CShowNewDeviceConnectedToast>(h.trace, h.dispatcher, h.log, kEndpoint);
        toast->Connect();
        return toast;
    }
};

TEST_F(NewDeviceConnectedToastTest, TheFeatureAndTheRecordDecideWhetherTheToastShows) {
    const std::vector<uint8_t> asked{1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 0};
    struct Case {
        const char* name;
        std::optional<std::vector<uint8_t>> feature;
        std::optional<std::vector<uint8_t>> record;
        bool shows;
    } cases[] = {
        {"no feature parameter", std::nullopt, std::nullopt, false},
        {"a feature read of no byte", std::vector<uint8_t>{}, std::nullopt, false},
        {"feature byte 0", std::vector<uint8_t>{0}, std::nullopt, false},
        {"feature, no record yet", std::vector<uint8_t>{1}, std::nullopt, true},
        {"feature, the user said never", std::vector<uint8_t>{1}, asked, false},
        {"feature, a short record", std::vector<uint8_t>{1}, std::vector<uint8_t>(10), false},
        {"feature, a record never asked", std::vector<uint8_t>{7}, std::vector<uint8_t>(11), true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // No value: the library's read fails.
        for (auto [address, value] : {std::pair{kLobeFit, c.feature}, std::pair{kRecord, c.record}}) {
            if (value)
                Vendor().SetParameter(kEndpoint, address, *value);
            else
                Vendor().RemoveParameter(kEndpoint, address);
        }
        const size_t before = Companion().Messages().size();
        auto toast = Show();
        EXPECT_EQ(Companion().Messages().size() - before, c.shows ? 1u : 0u);
        toast = nullptr;
    }
    EXPECT_TRUE(h.Traced(L"Endpoint doesn't have LobeFit\n"));
    EXPECT_EQ(Vendor().OpenHandles(), 0u);
}

TEST_F(NewDeviceConnectedToastTest, OnlyAnAcceptanceIsWrittenAndItKeepsTheBytesItDoesNotKnow) {
    Vendor().SetParameter(kEndpoint, kLobeFit, {1});
    Vendor().SetParameter(kEndpoint, kRecord, {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 0});
    struct Case {
        ValueSet answer;
        std::vector<uint8_t> record;
    } cases[] = {
        {{{L"ToastState", L"Dismissed"}}, {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 0}},
        {{{L"ToastState", L"Activated"}, {L"ToastArguments", L"action=zkpa_later"}}, {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 0}},
        {{{L"ToastState", L"Activated"}, {L"ToastArguments", L"action=zkpa_personalize"}},
         {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 1}},
    };
    for (const Case& c : cases) {
        auto toast = Show();
        ASSERT_TRUE(toast->IsConnected());
        Companion().Answer(c.answer);
        Settle();
        EXPECT_FALSE(toast->IsConnected());
        EXPECT_EQ(Vendor().Parameter(kEndpoint, kRecord), c.record);
    }
}

TEST_F(NewDeviceConnectedToastTest, ADeviceWithoutARecordThatAcceptsGetsOneOfZerosAndTheAcceptance) {
    Vendor().SetParameter(kEndpoint, kLobeFit, {1});
    auto toast = Show();
    Companion().Answer({{L"ToastState", L"Activated"}, {L"ToastArguments", L"action=zkpa_personalize"}});
    Settle();
    EXPECT_EQ(Vendor().Parameter(kEndpoint, kRecord), (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
}

TEST_F(NewDeviceConnectedToastTest, AnEndpointTheLibraryDoesNotKnowNeverConnects) {
    Vendor().ForgetEndpoint(kEndpoint);
    Vendor().SetParameter(kEndpoint, kLobeFit, {1});
    auto toast = Show();
    EXPECT_FALSE(toast->CanConnect);
    EXPECT_TRUE(Companion().Messages().empty());
    EXPECT_TRUE(h.Traced(L"Failed to get endpoint for device " + kEndpoint + L" with error 1168\n"));
    toast = nullptr;
    Vendor().InitializeFails = true;
    toast = Show();
    EXPECT_FALSE(toast->CanConnect);
    EXPECT_EQ(Vendor().OpenHandles(), 0u);
}

}  // namespace
}  // namespace qv::test
