#include "support/test_notification_server_linux.h"

#include <cstdlib>

#include "platform/linux/linux_bus_thread.h"
#include "support/wait_until.h"

namespace qv::test {

namespace {

constexpr const char* kName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";

int OnNotify(sd_bus_message* call, void* userdata, sd_bus_error*) {
    TestNotificationServer::Notification notification{};
    const char *appName = nullptr, *icon = nullptr, *summary = nullptr, *body = nullptr;
    uint32_t replaces = 0;
    char** actions = nullptr;
    int r = sd_bus_message_read(call, "susss", &appName, &replaces, &icon, &summary, &body);
    if (r >= 0) r = sd_bus_message_read_strv(call, &actions);
    if (r < 0) return r;
    for (char** action = actions; action && *action; ++action) {
        notification.actions.emplace_back(*action);
        std::free(*action);
    }
    std::free(actions);
    notification.appName = appName;
    notification.summary = summary;
    notification.body = body;
    const uint32_t id = static_cast<TestNotificationServer*>(userdata)->Record(std::move(notification));
    return sd_bus_reply_method_return(call, "u", id);
}

int OnCloseNotification(sd_bus_message* call, void* userdata, sd_bus_error*) {
    uint32_t id = 0;
    if (int r = sd_bus_message_read(call, "u", &id); r < 0) return r;
    static_cast<TestNotificationServer*>(userdata)->RecordClose(id);
    sd_bus_emit_signal(sd_bus_message_get_bus(call), kPath, kName, "NotificationClosed", "uu", id, 3u);
    return sd_bus_reply_method_return(call, "");
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", OnNotify, 0),
    SD_BUS_METHOD("CloseNotification", "u", "", OnCloseNotification, 0),
    SD_BUS_SIGNAL("ActionInvoked", "us", 0),
    SD_BUS_SIGNAL("NotificationClosed", "uu", 0),
    SD_BUS_VTABLE_END,
};

}  // namespace

TestNotificationServer::TestNotificationServer(const std::string& busAddress) {
    CSdBus bus;
    if (OpenSessionBus(busAddress, bus) < 0 ||
        sd_bus_add_object_vtable(bus.get(), nullptr, kPath, kName, kVtable, this) < 0 ||
        sd_bus_request_name(bus.get(), kName, 0) < 0)
        return;
    m_bus = std::make_unique<CLinuxBusThread>(std::move(bus));
}

TestNotificationServer::~TestNotificationServer() { m_bus.reset(); }

uint32_t TestNotificationServer::Record(Notification notification) {
    std::lock_guard lock(m_mutex);
    notification.id = ++m_lastId;
    m_notifications.push_back(std::move(notification));
    return m_lastId;
}

void TestNotificationServer::RecordClose(uint32_t id) {
    std::lock_guard lock(m_mutex);
    m_closed.push_back(id);
}

std::vector<TestNotificationServer::Notification> TestNotificationServer::Notifications() const {
    std::lock_guard lock(m_mutex);
    return m_notifications;
}

std::vector<uint32_t> TestNotificationServer::ClosedByClient() const {
    std::lock_guard lock(m_mutex);
    return m_closed;
}

bool TestNotificationServer::WaitForNotifications(std::size_t count) const {
    return WaitUntil([&] { return Notifications().size() >= count; });
}

bool TestNotificationServer::Emit(const std::function<int(sd_bus*)>& emit) {
    if (!m_bus) return false;
    int r = -1;
    m_bus->Run([&](sd_bus* bus) {
        if (bus) r = emit(bus);
    });
    return r >= 0;
}

bool TestNotificationServer::InvokeAction(uint32_t id, const std::string& actionKey) {
    return Emit([&](sd_bus* bus) {
        return sd_bus_emit_signal(bus, kPath, kName, "ActionInvoked", "us", id, actionKey.c_str());
    });
}

bool TestNotificationServer::Dismiss(uint32_t id) {
    return Emit([&](sd_bus* bus) { return sd_bus_emit_signal(bus, kPath, kName, "NotificationClosed", "uu", id, 2u); });
}

}  // namespace qv::test
