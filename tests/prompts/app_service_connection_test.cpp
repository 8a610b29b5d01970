// The way from a toast's decision to the user's answer: which companion is
// chosen, who decides whether the toast shows, and what becomes of the
// connection after the answer, a refusal or the app's going away.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "platform/codes.h"
#include "prompts/app_service_connection.h"
#include "prompts/supported_app_lists.h"
#include "support/model_fixture.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kFirstApp(SupportedAppList(0)[0].packageFamilyName);
const std::wstring kSecondApp(SupportedAppList(0)[1].packageFamilyName);
const std::wstring kService(SupportedAppList(0)[0].appServiceName);

// A toast whose hook decides as the test says and remembers what it heard.
class CTestToast : public CAppServiceConnection {
public:
    using CAppServiceConnection::CAppServiceConnection;
    void OnBeforeShowToast() override {
        ++beforeShowCalls;
        ShowToast = hookShows;
    }
    void OnToastStateReceived() override { statesReceived.push_back(ToastState); }

    bool hookShows = true;
    int beforeShowCalls = 0;
    std::vector<std::wstring> statesReceived;
};

class AppServiceConnectionTest : public ModelTest {
protected:
    CRefPtr<CTestToast> MakeToast() {
        auto toast = MakeRef<CTestToast>(h.trace, h.dispatcher, h.log);
        toast->ToastName = L"ShowTestToast";
        return toast;
    }
    std::wstring NotificationKey(const std::wstring& family) {
        return L"Software\\Microsoft\\Windows\\CurrentVersion\\Notifications\\Settings\\" + family + L"!App";
    }
    size_t ToastsSent() { return Companion().Messages().size(); }
};

TEST_F(AppServiceConnectionTest, WithoutAnInstalledAppTheHookIsNeverAsked) {
    // A framework or resource package of the first family is not the app.
    Companion().InstallPackage(kFirstApp, {0x10});
    auto toast = MakeToast();
    toast->Connect();
    EXPECT_EQ(toast->beforeShowCalls, 0);
    EXPECT_TRUE(h.Traced(L"Failed to find app - toast service provide with a supported PFN!\n"));
    EXPECT_EQ(ToastsSent(), 0u);

    // The next family in the list is then taken, with its service.
    Companion().InstallPackage(kSecondApp, {0x10, 0});
    auto second = MakeToast();
    second->Connect();
    EXPECT_EQ(second->PackageFamilyName, kSecondApp);
    ASSERT_EQ(ToastsSent(), 1u);
    EXPECT_EQ(Companion().Messages()[0].packageFamilyName, kSecondApp);
    EXPECT_EQ(Companion().Messages()[0].appServiceName, kService);
    EXPECT_EQ(Companion().Messages()[0].message, (ValueSet{{L"ShowTestToast", L"true"}}));
}

// The user's switch for the app overrules the hook both ways; without the
// switch, or with a link in its place, the hook decides.
TEST_F(AppServiceConnectionTest, TheNotificationSwitchOverrulesTheHookWhereItExists) {
    struct Case {
        const char* name;
        bool hookShows;
        std::optional<uint32_t> enabled;  // no key when absent
        bool link;
        bool sent;
    } cases[] = {
        {"switch on, hook says no", false, 1, false, true},
        {"switch off, hook says yes", true, 0, false, false},
        {"no key, hook says no", false, std::nullopt, false, false},
        {"no key, hook says yes", true, std::nullopt, false, true},
        {"a link in place of the key", false, 1, true, false},
    };
    Companion().InstallPackage(kFirstApp);
    const std::wstring key = NotificationKey(kFirstApp);
    for (const Case& c : cases) {  // the link comes last: it stays in the key
        SCOPED_TRACE(c.name);
        h.platform->SimRegistry->ClearFailures();
        if (c.enabled)
            h.platform->SimRegistry->SetDword(RegistryRoot::CurrentUser, key, L"Enabled", *c.enabled);
        else
            h.platform->SimRegistry->FailOpen(RegistryRoot::CurrentUser, key, ERROR_FILE_NOT_FOUND);
        if (c.link) h.platform->SimRegistry->SetString(RegistryRoot::CurrentUser, key, L"SymbolicLinkValue", L"x");
        const size_t before = ToastsSent();
        auto toast = MakeToast();
        toast->hookShows = c.hookShows;
        toast->Connect();
        EXPECT_EQ(ToastsSent() - before, c.sent ? 1u : 0u);
        EXPECT_EQ(toast->ShowToast, c.sent);
        EXPECT_EQ(toast->beforeShowCalls, 1);
    }
    EXPECT_TRUE(h.Traced(L"Failed to open '" + NotificationKey(kFirstApp) + L"' registry key with error code: 5"));
}

TEST_F(AppServiceConnectionTest, TheAnswerReachesTheHookOnceAndClosesTheConnection) {
    Companion().InstallPackage(kFirstApp);
    auto toast = MakeToast();
    toast->Connect();
    ASSERT_TRUE(toast->IsConnected());
    EXPECT_EQ(Companion().OpenConnections(), 1u);
    h.ClearTrace();
    toast->Connect();
    EXPECT_TRUE(h.Traced(L"Already connected\n"));
    EXPECT_EQ(ToastsSent(), 1u);

    // A report without a state still reaches the hook, with an empty one.
    Companion().Answer({{L"ToastArguments", L"action=x"}});
    Settle();
    EXPECT_THAT(toast->statesReceived, ElementsAre(L""));
    EXPECT_EQ(toast->LastMessageText(L"ToastArguments"), L"action=x");
    EXPECT_FALSE(toast->IsConnected());
    EXPECT_EQ(Companion().OpenConnections(), 0u);
    // Closed for good: a later report reaches nothing.
    Companion().Answer({{L"ToastState", L"Activated"}});
    Settle();
    EXPECT_THAT(toast->statesReceived, ElementsAre(L""));
}

TEST_F(AppServiceConnectionTest, ARefusalAFailedOpeningOrAClosedServiceEndTheToastWithoutTheHook) {
    Companion().InstallPackage(kFirstApp);
    Companion().SetResponse(L"ShowTestToast", {{L"Response", L"Busy"}});
    auto refused = MakeToast();
    refused->Connect();
    EXPECT_FALSE(refused->IsConnected());
    EXPECT_TRUE(h.Traced(L"Response = Busy\n"));
    Companion().Answer({{L"ToastState", L"Activated"}});
    Settle();
    EXPECT_THAT(refused->statesReceived, IsEmpty());

    Companion().SetResponse(L"ShowTestToast", {{L"Response", L"OK"}});
    Companion().OpenStatus = 2;
    auto unopened = MakeToast();
    unopened->Connect();
    EXPECT_EQ(unopened->ConnectionStatus, 2);
    EXPECT_TRUE(h.Traced(L"Connection status = Failed\n"));
    EXPECT_FALSE(unopened->IsConnected());

    Companion().OpenStatus = 0;
    auto closed = MakeToast();
    closed->Connect();
    ASSERT_TRUE(closed->IsConnected());
    Companion().CloseServices();
    Settle();
    EXPECT_FALSE(closed->IsConnected());
    EXPECT_THAT(closed->statesReceived, IsEmpty());

    auto unable = MakeToast();
    unable->CanConnect = false;
    unable->Connect();
    EXPECT_TRUE(h.Traced(L"Can't connect\n"));
    EXPECT_EQ(unable->beforeShowCalls, 0);
}

TEST_F(AppServiceConnectionTest, AToastThatGoesWhileShownClosesItsConnectionAndAnAnswerFindsNothing) {
    Companion().InstallPackage(kFirstApp);
    auto toast = MakeToast();
    toast->Connect();
    ASSERT_TRUE(toast->IsConnected());
    // The answer is on its way to the main thread when the toast goes.
    Companion().Answer({{L"ToastState", L"Dismissed"}});
    ASSERT_TRUE(Companion().WaitUntilDelivered());
    toast = nullptr;
    EXPECT_EQ(Companion().OpenConnections(), 0u);
    Settle();
    EXPECT_EQ(TraceCount(L"Toast state = "), 0u);
}

}  // namespace
}  // namespace qv::test
