// The desktop's notification service (org.freedesktop.Notifications) on a
// test bus: records what it is asked to show, and lets the test play the
// user, who clicks an action or closes a notification. Like a real server,
// it says a notification closed (reason 3) when its client closes it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <systemd/sd-bus.h>

namespace qv {
class CLinuxBusThread;
}

namespace qv::test {

class TestNotificationServer {
public:
    struct Notification {
        uint32_t id;
        std::string appName;
        std::string summary;
        std::string body;
        std::vector<std::string> actions;  // key, label, key, label...
    };

    explicit TestNotificationServer(const std::string& busAddress);
    ~TestNotificationServer();

    bool Started() const { return m_bus != nullptr; }
    std::vector<Notification> Notifications() const;
    // The ids that CloseNotification was called with.
    std::vector<uint32_t> ClosedByClient() const;
    // Waits, within the tests' bound, until that many notifications came.
    bool WaitForNotifications(std::size_t count) const;

    bool InvokeAction(uint32_t id, const std::string& actionKey);
    bool Dismiss(uint32_t id);  // reason 2: closed by the user

    // The bus's calls, on its thread.
    uint32_t Record(Notification notification);
    void RecordClose(uint32_t id);

private:
    bool Emit(const std::function<int(sd_bus*)>& emit);

    mutable std::mutex m_mutex;
    std::vector<Notification> m_notifications;
    std::vector<uint32_t> m_closed;
    uint32_t m_lastId = 0;
    std::unique_ptr<CLinuxBusThread> m_bus;  // last: it goes first, as its callbacks use the above
};

}  // namespace qv::test
