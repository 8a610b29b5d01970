// The companion shows the toasts on the desktop's notification service and
// sends the user's answer back to the connection that asked, on a thread of
// the port.
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "companion_fixture.h"
#include "core/text.h"
#include "platform/linux/linux_app_service_connection.h"
#include "support/wait_until.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;
using CompanionToastTest = CompanionFixture;

TEST_F(CompanionToastTest, EachAnswerOfTheUserComesBackAsARequest) {
    CRefPtr<IAppServiceConnection> connection = StartAndOpen();
    ASSERT_TRUE(connection);
    const std::wstring chrome = L"ShowInstallChromeExtensionToast", edge = L"ShowInstallEdgeExtensionToast",
                       device = L"ShowNewDeviceConnectedToast";
    struct Answer {
        std::wstring toast;
        std::string actionKey;  // empty: the user closes it
        std::wstring request;
    };
    const Answer answers[] = {
        {chrome, "action=install_ext_yes", L"request ToastArguments=action=install_ext_yes;ToastState=Activated;"},
        {edge, "action=install_ext_no", L"request ToastArguments=action=install_ext_no;ToastState=Activated;"},
        {chrome, "dontShowAgain",
         L"request ToastArguments=action=install_ext_no;ToastState=Activated;ToastUserOptions=dontShowAgain;"},
        {device, "action=zkpa_personalize", L"request ToastArguments=action=zkpa_personalize;ToastState=Activated;"},
        {device, "action=zkpa_later", L"request ToastArguments=action=zkpa_later;ToastState=Activated;"},
        {device, "default", L"request ToastState=Activated;"},
        {edge, "", L"request ToastState=Dismissed;"},
    };
    std::vector<std::wstring> expected;
    for (const Answer& answer : answers) {
        ASSERT_EQ(Show(*connection, answer.toast), L"OK");
        ASSERT_TRUE(Said("showing " + WideToUtf8(answer.toast)));
        const auto shown = m_notifications->Notifications().back();
        if (answer.actionKey.empty()) {
            ASSERT_TRUE(m_notifications->Dismiss(shown.id));
        } else {
            ASSERT_TRUE(m_notifications->InvokeAction(shown.id, answer.actionKey));
            // Answered toasts are closed, and their closing is no dismissal.
            EXPECT_TRUE(WaitUntil([&] {
                auto closed = m_notifications->ClosedByClient();
                return std::find(closed.begin(), closed.end(), shown.id) != closed.end();
            }));
        }
        ASSERT_TRUE(Said(answer.actionKey.empty() ? "dismissed" : "answered: " + answer.actionKey));
        expected.push_back(answer.request);
        ASSERT_TRUE(Heard.WaitForCall(answer.request)) << WideToUtf8(answer.request);
    }
    EXPECT_EQ(Heard.Calls(), expected);
    for (auto thread : Heard.Threads()) EXPECT_NE(thread, std::this_thread::get_id());

    const auto shown = m_notifications->Notifications();
    ASSERT_EQ(shown.size(), std::size(answers));
    EXPECT_EQ(shown[0].appName, "Quorvane Companion");
    EXPECT_NE(shown[0].summary, shown[3].summary);
    EXPECT_EQ(shown[0].actions,
              (std::vector<std::string>{"action=install_ext_yes", "Install", "action=install_ext_no", "Not now",
                                        "dontShowAgain", "Don't show again", "default", ""}));
    EXPECT_EQ(shown[3].actions, (std::vector<std::string>{"action=zkpa_personalize", "Personalize", "action=zkpa_later",
                                                          "Later", "default", ""}));
}

TEST_F(CompanionToastTest, OnlyTheConnectionThatAskedHearsTheAnswerAndNotAfterClose) {
    CRefPtr<IAppServiceConnection> asking = StartAndOpen();
    ASSERT_TRUE(asking);
    int32_t status = -1;
    auto bystander = Open(status);
    ASSERT_EQ(status, kAppServiceConnectionSuccess);
    ASSERT_EQ(Show(*asking, L"ShowNewDeviceConnectedToast"), L"OK");
    asking->Close();
    ASSERT_TRUE(m_notifications->InvokeAction(1, "action=zkpa_later"));
    ASSERT_TRUE(Said("answered"));
    ASSERT_TRUE(WaitUntil([&] { return !m_notifications->ClosedByClient().empty(); }));
    // The bystander still hears what is meant for everybody, which comes
    // after the answer.
    m_companion->Kill(SIGTERM);
    ASSERT_TRUE(Heard.WaitForCall(L"closed"));
    EXPECT_EQ(Heard.Calls(), std::vector<std::wstring>{L"closed"});
}

TEST_F(CompanionToastTest, CloseWaitsForTheHandlerThatRuns) {
    CRefPtr<IAppServiceConnection> connection = StartAndOpen();
    ASSERT_TRUE(connection);
    std::atomic<bool> inCall{false}, closing{false}, finished{false};
    connection->SetHandlers(
        [&](const ValueSet&) {
            inCall = true;
            WaitUntil([&] { return closing.load(); });
            // The handler's own work: long enough that a Close that did not
            // wait would return first.
            std::this_thread::sleep_for(50ms);
            finished = true;
        },
        {});
    ASSERT_EQ(Show(*connection, L"ShowNewDeviceConnectedToast"), L"OK");
    ASSERT_TRUE(m_notifications->Dismiss(1));
    ASSERT_TRUE(WaitUntil([&] { return inCall.load(); }));
    closing = true;
    connection->Close();
    EXPECT_TRUE(finished) << "Close returned while the handler still ran";
}

// The user may answer before the reply that the toast shows has reached the
// caller, who sets the handlers only once it has: the answer waits for them.
TEST_F(CompanionToastTest, AnAnswerBeforeTheHandlersAreSetWaitsForThem) {
    ASSERT_TRUE(StartNotifications());
    ASSERT_TRUE(StartCompanion(AppArguments()));
    CRefPtr<IAppServiceConnection> connection;
    ASSERT_EQ(Port()->CreateAppServiceConnection(connection), 0);
    connection->SetPackageFamilyName(kFamily);
    connection->SetAppServiceName(kService);
    ASSERT_EQ(connection->OpenAsync(), kAppServiceConnectionSuccess);
    ASSERT_EQ(Show(*connection, L"ShowNewDeviceConnectedToast"), L"OK");
    ASSERT_TRUE(m_notifications->Dismiss(1));
    ASSERT_TRUE(Said("dismissed"));
    connection->SetHandlers([this](const ValueSet& request) { Heard.Add(Line(request)); },
                            [this] { Heard.Add(L"closed"); });
    EXPECT_TRUE(Heard.WaitForCall(L"request ToastState=Dismissed;")) << Heard.Calls().size();
}

TEST_F(CompanionToastTest, TheResponseSaysWhyNoToastIsShown) {
    ASSERT_TRUE(StartCompanion(AppArguments()));
    int32_t status = -1;
    auto connection = Open(status);
    ASSERT_EQ(status, kAppServiceConnectionSuccess);
    EXPECT_EQ(Show(*connection, L"ShowInstallEdgeExtensionToast"), L"NoNotificationService");
    ASSERT_TRUE(StartNotifications());
    EXPECT_EQ(Show(*connection, L"ShowSomethingElse"), L"UnknownToast");
    ValueSet response;
    EXPECT_EQ(connection->SendMessageAsync({{L"ShowInstallEdgeExtensionToast", L"false"}}, response), 0);
    EXPECT_EQ(response, (ValueSet{{L"Response", L"UnknownToast"}})) << "only \"true\" asks for a toast";
    EXPECT_TRUE(m_notifications->Notifications().empty());
}

TEST_F(CompanionToastTest, NotificationsTurnedOffAreAnsweredDisabled) {
    ASSERT_TRUE(StartNotifications());
    // Its names are taken in the order of the lists: the second family's
    // comes last.
    const std::wstring tuner = L"Quorvane.AudioTuner_h4x7v2kq9w3te";
    ASSERT_TRUE(StartCompanion({"--notifications-off"}, tuner));
    int32_t status = -1;
    auto connection = Open(status, tuner, L"com.quorvane.toastservice.twq");
    ASSERT_EQ(status, kAppServiceConnectionSuccess) << "every supported app is served by default";
    EXPECT_EQ(Show(*connection, L"ShowNewDeviceConnectedToast"), L"Disabled");
    EXPECT_TRUE(m_notifications->Notifications().empty());
}

TEST(CompanionCommandLineTest, HelpAndWrongArgumentsAreAnswered) {
    TestChild help({QV_COMPANION, "--help"});
    ASSERT_TRUE(help.Started());
    auto first = help.ReadLine();
    ASSERT_TRUE(first);
    EXPECT_NE(first->find("Usage: qv_companion"), std::string::npos);
    EXPECT_EQ(help.Wait(), 0);
    for (const char* wrong : {"--bogus", "NoService", "=service", "family="}) {
        const bool app = wrong[0] != '-';
        TestChild child(app ? std::vector<std::string>{QV_COMPANION, "--app", wrong}
                            : std::vector<std::string>{QV_COMPANION, wrong});
        int status = child.Wait();
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2) << wrong;
    }
}

}  // namespace
}  // namespace qv::test
