// The app-service port against the real companion on a private session
// bus: finding it, opening its service, and what each failure reports.
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "companion_fixture.h"
#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_app_service_connection.h"
#include "platform/linux/linux_companion_names.h"
#include "platform/linux/linux_platform.h"
#include "support/wait_until.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

TEST(CompanionNamesTest, EveryNameBecomesAValidBusNameOrNone) {
    EXPECT_EQ(CompanionBusName(L"Quorvane.AudioCompanion_h4x7v2kq9w3te"),
              "com.quorvane.Companion.Quorvane_AudioCompanion_h4x7v2kq9w3te");
    EXPECT_EQ(CompanionBusName(L"Zoé-1"), "com.quorvane.Companion.Zo__1");
    EXPECT_EQ(CompanionBusName(L"7up"), "com.quorvane.Companion._7up") << "no bus name part begins with a digit";
    EXPECT_EQ(CompanionBusName(L""), "com.quorvane.Companion._");
    EXPECT_EQ(CompanionBusName(std::wstring(240, L'a')), "") << "longer than a bus name may be";
    EXPECT_EQ(CompanionObjectPath(L"com.quorvane.toastservice"), "/com/quorvane/Companion/com_quorvane_toastservice");
}

TEST(LinuxAppServicesTest, TheLinuxPlatformHasThePort) { EXPECT_TRUE(CLinuxPlatform().AppServices()); }

TEST(LinuxAppServicesTest, WithoutASessionBusNothingIsFoundAndNothingOpens) {
    auto port = MakeRef<CLinuxAppServices>("unix:path=/nonexistent/qv-bus");
    std::vector<uint32_t> packages{7};
    EXPECT_EQ(port->FindPackagesByPackageFamily(kFamily, packages), ERROR_SERVICE_NOT_ACTIVE);
    EXPECT_TRUE(packages.empty());
    CRefPtr<IAppServiceConnection> connection;
    ASSERT_EQ(port->CreateAppServiceConnection(connection), S_OK);
    connection->SetPackageFamilyName(kFamily);
    connection->SetAppServiceName(kService);
    EXPECT_EQ(connection->OpenAsync(), kAppServiceConnectionUnknown);
    ValueSet response{{L"stale", L"1"}};
    EXPECT_EQ(connection->SendMessageAsync({{L"ShowNewDeviceConnectedToast", L"true"}}, response),
              kAppServiceResponseFailure);
    EXPECT_TRUE(response.empty());
}

using AppServiceTest = CompanionFixture;

TEST_F(AppServiceTest, APackageIsThereWhenItsNameIsOwnedOrCanBeStarted) {
    const std::wstring activatable = L"Tests.Activatable_h4x7v2kq9w3te";
    UseBus({{CompanionBusName(activatable), "/bin/false"}});
    ASSERT_TRUE(StartCompanion(AppArguments()));
    auto port = Port();
    for (const std::wstring& family : {kFamily, activatable}) {
        std::vector<uint32_t> packages;
        EXPECT_EQ(port->FindPackagesByPackageFamily(family, packages), 0u);
        EXPECT_EQ(packages, std::vector<uint32_t>{0}) << WideToUtf8(family);
    }
    for (const std::wstring& family :
         {std::wstring(L"Tests.Missing_h4x7v2kq9w3te"), std::wstring(), std::wstring(300, L'x')}) {
        std::vector<uint32_t> packages{1};
        EXPECT_EQ(port->FindPackagesByPackageFamily(family, packages), 0u);
        EXPECT_TRUE(packages.empty());
    }
}

TEST_F(AppServiceTest, OpenAsyncSaysWhatIsMissing) {
    const std::wstring startable = L"Tests.Startable_h4x7v2kq9w3te";
    const std::wstring broken = L"Tests.Broken_h4x7v2kq9w3te";
    std::string startCompanion = QV_COMPANION;
    for (const std::string& argument : AppArguments(startable)) startCompanion += " " + argument;
    UseBus({{CompanionBusName(startable), startCompanion}, {CompanionBusName(broken), "/bin/false"}});
    ASSERT_TRUE(StartCompanion(AppArguments()));

    int32_t status = -1;
    auto open = Open(status);
    EXPECT_EQ(status, kAppServiceConnectionSuccess);
    EXPECT_EQ(open->OpenAsync(), kAppServiceConnectionUnknown) << "already open";
    open->Close();
    EXPECT_EQ(open->OpenAsync(), kAppServiceConnectionUnknown) << "closed";

    Open(status, L"Tests.Missing_h4x7v2kq9w3te");
    EXPECT_EQ(status, kAppServiceConnectionAppNotInstalled);
    Open(status, L"");
    EXPECT_EQ(status, kAppServiceConnectionAppNotInstalled);
    Open(status, kFamily, L"com.quorvane.otherservice");
    EXPECT_EQ(status, kAppServiceConnectionServiceUnavailable);
    Open(status, broken);
    EXPECT_EQ(status, kAppServiceConnectionAppUnavailable) << "its program fails to start";
    auto started = Open(status, startable);
    EXPECT_EQ(status, kAppServiceConnectionSuccess) << "the bus starts the companion";
    EXPECT_EQ(Show(*started, L"NoSuchToast"), L"UnknownToast");
}

TEST_F(AppServiceTest, TheCompanionLeavingClosesTheServiceOnce) {
    for (int signal : {SIGTERM, SIGKILL}) {
        ASSERT_TRUE(StartCompanion(AppArguments()));
        int32_t status = -1;
        CRefPtr<IAppServiceConnection> connection = Open(status);
        ASSERT_EQ(status, kAppServiceConnectionSuccess);
        // The first is closed from its own handler, as the model does.
        IAppServiceConnection* raw = connection.get();
        connection->SetHandlers({}, [&, raw, signal] {
            if (signal == SIGTERM) raw->Close();
            Heard.Add(L"closed");
        });
        m_companion->Kill(signal);
        ASSERT_TRUE(Heard.WaitForCall(L"closed")) << signal;
        const int exit = m_companion->Wait();
        if (signal == SIGTERM) {
            EXPECT_TRUE(WIFEXITED(exit) && WEXITSTATUS(exit) == 0) << "a clean end";
        }
        ValueSet response;
        EXPECT_EQ(connection->SendMessageAsync({{L"ShowNewDeviceConnectedToast", L"true"}}, response),
                  signal == SIGTERM ? kAppServiceResponseFailure : kAppServiceResponseAppUnavailable);
        EXPECT_EQ(Heard.Calls(), std::vector<std::wstring>{L"closed"});
        EXPECT_NE(Heard.Threads().front(), std::this_thread::get_id());
        Heard.Clear();
    }
}

}  // namespace
}  // namespace qv::test
