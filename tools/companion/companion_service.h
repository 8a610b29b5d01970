// The companion's side of the bus: the names of its package families, the
// app service on each service's path (linux_companion_names.h), and the
// toasts it has shown on the desktop's notification service
// (org.freedesktop.Notifications), each remembered with the connection whose
// message asked for it, which alone hears the answer.
//
// SendMessage's response is {"Response": why}:
//   "OK"                     the toast is shown
//   "Disabled"               the user turned the notifications off
//   "UnknownToast"           the message asks for no toast this app knows
//   "NoNotificationService"  nothing on the bus shows notifications
//   "NotifyFailed"           the notification service refused or timed out
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "companion_options.h"
#include "companion_toasts.h"
#include "platform/linux/linux_sd_bus.h"

namespace qv::companion {

class CCompanionService {
public:
    CCompanionService(sd_bus* bus, bool notificationsOff) : m_bus(bus), m_notificationsOff(notificationsOff) {}

    // Serves the apps' paths and then takes their names, so that nobody
    // finds a name before its service. False, said on stderr, when a name is
    // taken or the bus refuses.
    bool Start(std::span<const CompanionApp> apps);
    // Before the companion leaves: closes the toasts still shown and says
    // Closed on every path.
    void Stop();

    // The bus's calls and signals.
    int SendMessage(sd_bus_message* call);
    void ActionInvoked(uint32_t id, const char* actionKey);
    void NotificationClosed(uint32_t id);

private:
    struct Shown {
        std::string client;  // the unique name that asked
        std::string path;
        const Toast* toast;
    };
    const char* Show(const Toast& toast, const std::string& client, const std::string& path);
    void SendRequest(const Shown& shown, const ValueSet& request);
    void CloseNotification(uint32_t id);

    sd_bus* m_bus;
    bool m_notificationsOff;
    std::vector<std::string> m_paths;
    std::vector<CSdBusSlot> m_slots;
    std::map<uint32_t, Shown> m_shown;
};

}  // namespace qv::companion
