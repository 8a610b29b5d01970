#include "companion_fixture.h"

#include "core/text.h"
#include "platform/linux/linux_app_service_connection.h"
#include "platform/linux/linux_bus_queries.h"
#include "platform/linux/linux_companion_names.h"
#include "support/wait_until.h"

namespace qv::test {

std::vector<std::string> AppArguments(const std::wstring& family, const std::wstring& service) {
    return {"--app", WideToUtf8(family) + "=" + WideToUtf8(service)};
}

std::wstring Line(const ValueSet& request) {
    std::wstring line = L"request ";
    for (const auto& [key, value] : request) line += key + L"=" + value + L";";
    return line;
}

void CompanionFixture::SetUp() { UseBus({}); }

void CompanionFixture::UseBus(const std::vector<PrivateSessionBus::ActivatableService>& services) {
    m_companion.reset();
    m_notifications.reset();
    m_bus.reset();
    m_bus = std::make_unique<PrivateSessionBus>(services);
    ASSERT_FALSE(m_bus->Address().empty()) << "dbus-daemon did not start";
}

bool CompanionFixture::StartCompanion(const std::vector<std::string>& arguments, const std::wstring& family) {
    std::vector<std::string> argv{"sh", "-c", "exec \"$0\" \"$@\" 2>&1", QV_COMPANION};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    m_companion =
        std::make_unique<TestChild>(argv, std::vector<std::string>{"DBUS_SESSION_BUS_ADDRESS=" + m_bus->Address()});
    CSdBus bus;
    if (!m_companion->Started() || OpenSessionBus(m_bus->Address(), bus) < 0) return false;
    return WaitUntil([&] {
        std::string owner;
        CSdBusError error;
        return GetNameOwner(bus.get(), CompanionBusName(family), owner, error) >= 0;
    });
}

bool CompanionFixture::Said(const std::string& words) {
    while (auto line = m_companion->ReadLine(kWaitBound)) {
        if (line->find(words) != std::string::npos) return true;
    }
    return false;
}

bool CompanionFixture::StartNotifications() {
    m_notifications = std::make_unique<TestNotificationServer>(m_bus->Address());
    return m_notifications->Started();
}

CRefPtr<IAppServiceConnection> CompanionFixture::Open(int32_t& status, const std::wstring& family,
                                                      const std::wstring& service) {
    CRefPtr<IAppServiceConnection> connection;
    EXPECT_EQ(Port()->CreateAppServiceConnection(connection), 0);
    connection->SetPackageFamilyName(family);
    connection->SetAppServiceName(service);
    connection->SetHandlers([this](const ValueSet& request) { Heard.Add(Line(request)); },
                            [this] { Heard.Add(L"closed"); });
    status = connection->OpenAsync();
    return connection;
}

CRefPtr<IAppServiceConnection> CompanionFixture::StartAndOpen() {
    if (!StartNotifications() || !StartCompanion(AppArguments())) {
        ADD_FAILURE() << "the notification service or the companion did not start";
        return nullptr;
    }
    int32_t status = -1;
    CRefPtr<IAppServiceConnection> connection = Open(status);
    if (status == kAppServiceConnectionSuccess) return connection;
    ADD_FAILURE() << "the connection opened with status " << status;
    return nullptr;
}

std::wstring CompanionFixture::Show(IAppServiceConnection& connection, const std::wstring& toast) {
    ValueSet response;
    const int32_t status = connection.SendMessageAsync({{toast, L"true"}}, response);
    if (status != 0) return L"status " + std::to_wstring(status);
    return response[L"Response"];
}

}  // namespace qv::test
