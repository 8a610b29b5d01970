// A private session bus per test, on which the test starts the real
// qv_companion and, where it needs one, a notification service, and talks
// to them through the Linux app-service port.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/linux_app_services.h"
#include "support/callback_recorders.h"
#include "support/private_session_bus_linux.h"
#include "support/test_notification_server_linux.h"
#include "test_child.h"

namespace qv::test {

inline const std::wstring kFamily = L"Tests.Companion_h4x7v2kq9w3te";
inline const std::wstring kService = L"com.quorvane.toastservice";

// "--app FAMILY=SERVICE" for qv_companion.
std::vector<std::string> AppArguments(const std::wstring& family = kFamily, const std::wstring& service = kService);
// What the handlers heard, one line per call: "request K=V;K=V" or "closed".
std::wstring Line(const ValueSet& request);

class CompanionFixture : public testing::Test {
protected:
    void SetUp() override;
    // A new bus in place of the fixture's, with these services activatable.
    void UseBus(const std::vector<PrivateSessionBus::ActivatableService>& services);

    // Starts qv_companion (its standard error comes to Said) and waits until
    // it owns the family's name.
    bool StartCompanion(const std::vector<std::string>& arguments, const std::wstring& family = kFamily);
    // Whether the companion says a line with these words within the bound.
    bool Said(const std::string& words);
    bool StartNotifications();

    CRefPtr<CLinuxAppServices> Port() const { return MakeRef<CLinuxAppServices>(m_bus->Address()); }
    // A connection whose handlers write to Heard; the status of its open.
    CRefPtr<IAppServiceConnection> Open(int32_t& status, const std::wstring& family = kFamily,
                                        const std::wstring& service = kService);
    // Notifications, the companion serving the supported apps, and one
    // connection open to it; null (and the test failed) if a step failed.
    CRefPtr<IAppServiceConnection> StartAndOpen();
    // Sends {toast: "true"}; the response's "Response", or why not.
    std::wstring Show(IAppServiceConnection& connection, const std::wstring& toast);

    std::unique_ptr<PrivateSessionBus> m_bus;
    std::unique_ptr<TestNotificationServer> m_notifications;
    std::unique_ptr<TestChild> m_companion;
    CallLog Heard;
};

}  // namespace qv::test
