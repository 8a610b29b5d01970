#include "companion_service.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/text.h"
#include "platform/linux/linux_bus_values.h"
#include "platform/linux/linux_companion_names.h"

namespace qv::companion {

namespace {

constexpr const char* kNotifications = "org.freedesktop.Notifications";
constexpr const char* kNotificationsPath = "/org/freedesktop/Notifications";
// The notification service answers at once or not at all; the port that
// waits for this reply waits longer.
constexpr uint64_t kNotifyTimeoutUsec = 5'000'000;

int OnPing(sd_bus_message* call, void*, sd_bus_error*) { return sd_bus_reply_method_return(call, ""); }

int OnSendMessage(sd_bus_message* call, void* userdata, sd_bus_error*) {
    return static_cast<CCompanionService*>(userdata)->SendMessage(call);
}

int OnActionInvoked(sd_bus_message* signal, void* userdata, sd_bus_error*) {
    uint32_t id = 0;
    const char* key = nullptr;
    if (sd_bus_message_read(signal, "us", &id, &key) >= 0)
        static_cast<CCompanionService*>(userdata)->ActionInvoked(id, key);
    return 0;
}

int OnNotificationClosed(sd_bus_message* signal, void* userdata, sd_bus_error*) {
    uint32_t id = 0, reason = 0;
    if (sd_bus_message_read(signal, "uu", &id, &reason) >= 0)
        static_cast<CCompanionService*>(userdata)->NotificationClosed(id);
    return 0;
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Ping", "", "", OnPing, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SendMessage", "a{ss}", "a{ss}", OnSendMessage, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL("Request", "a{ss}", 0),
    SD_BUS_SIGNAL("Closed", "", 0),
    SD_BUS_VTABLE_END,
};

}  // namespace

bool CCompanionService::Start(std::span<const CompanionApp> apps) {
    std::vector<std::string> names;
    for (const CompanionApp& app : apps) {
        std::string name = CompanionBusName(app.packageFamilyName);
        std::string path = CompanionObjectPath(app.appServiceName);
        if (name.empty()) {
            std::fprintf(stderr, "qv_companion: the family %s cannot be a bus name\n",
                         WideToUtf8(app.packageFamilyName).c_str());
            return false;
        }
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
        if (std::find(m_paths.begin(), m_paths.end(), path) == m_paths.end()) m_paths.push_back(std::move(path));
    }
    for (const std::string& path : m_paths) {
        sd_bus_slot* slot = nullptr;
        int r = sd_bus_add_object_vtable(m_bus, &slot, path.c_str(), kCompanionInterface, kVtable, this);
        m_slots.emplace_back(slot);
        if (r < 0) {
            std::fprintf(stderr, "qv_companion: cannot serve %s: %s\n", path.c_str(), std::strerror(-r));
            return false;
        }
    }
    struct Match {
        const char* member;
        sd_bus_message_handler_t callback;
    };
    for (const Match& match :
         {Match{"ActionInvoked", OnActionInvoked}, Match{"NotificationClosed", OnNotificationClosed}}) {
        sd_bus_slot* slot = nullptr;
        int r = sd_bus_match_signal(m_bus, &slot, kNotifications, kNotificationsPath, kNotifications, match.member,
                                    match.callback, this);
        m_slots.emplace_back(slot);
        if (r < 0) {
            std::fprintf(stderr, "qv_companion: cannot hear the notifications: %s\n", std::strerror(-r));
            return false;
        }
    }
    for (const std::string& name : names) {
        if (int r = sd_bus_request_name(m_bus, name.c_str(), 0); r < 0) {
            std::fprintf(stderr, "qv_companion: cannot own %s: %s\n", name.c_str(), std::strerror(-r));
            return false;
        }
    }
    std::fprintf(stderr, "qv_companion: serving %zu name(s) on %zu path(s)%s\n", names.size(), m_paths.size(),
                 m_notificationsOff ? ", notifications off" : "");
    return true;
}

void CCompanionService::Stop() {
    for (const auto& [id, shown] : m_shown) CloseNotification(id);
    m_shown.clear();
    for (const std::string& path : m_paths) sd_bus_emit_signal(m_bus, path.c_str(), kCompanionInterface, "Closed", "");
}

int CCompanionService::SendMessage(sd_bus_message* call) {
    ValueSet message;
    if (int r = ReadValueSet(call, message); r < 0) return r;
    const char* sender = sd_bus_message_get_sender(call);
    const char* response = "UnknownToast";
    if (const Toast* toast = FindToast(message); toast && m_notificationsOff) {
        response = "Disabled";
    } else if (toast) {
        response = Show(*toast, sender ? sender : "", sd_bus_message_get_path(call));
    }
    if (std::strcmp(response, "OK") != 0)
        std::fprintf(stderr, "qv_companion: no toast for %s: %s\n", sender ? sender : "?", response);
    sd_bus_message* reply = nullptr;
    int r = sd_bus_message_new_method_return(call, &reply);
    CSdBusMessage held(reply);
    if (r >= 0) r = AppendValueSet(reply, {{L"Response", Utf8ToWide(response)}});
    if (r >= 0) r = sd_bus_send(m_bus, reply, nullptr);
    return r;
}

const char* CCompanionService::Show(const Toast& toast, const std::string& client, const std::string& path) {
    std::vector<const char*> actions;
    for (const ToastButton& button : toast.buttons) {
        actions.push_back(button.actionKey);
        actions.push_back(button.label);
    }
    actions.push_back("default");
    actions.push_back("");
    actions.push_back(nullptr);
    sd_bus_message* call = nullptr;
    int r = sd_bus_message_new_method_call(m_bus, &call, kNotifications, kNotificationsPath, kNotifications, "Notify");
    CSdBusMessage heldCall(call);
    if (r >= 0) r = sd_bus_message_append(call, "susss", kAppName, 0u, "", toast.summary, toast.body);
    if (r >= 0) r = sd_bus_message_append_strv(call, const_cast<char**>(actions.data()));
    if (r >= 0) r = sd_bus_message_append(call, "a{sv}i", 0, -1);
    if (r < 0) return "NotifyFailed";
    CSdBusError error;
    sd_bus_message* reply = nullptr;
    r = sd_bus_call(m_bus, call, kNotifyTimeoutUsec, error.get(), &reply);
    CSdBusMessage heldReply(reply);
    uint32_t id = 0;
    if (r >= 0) r = sd_bus_message_read(reply, "u", &id);
    if (r < 0) {
        const bool missing = error.Is(SD_BUS_ERROR_SERVICE_UNKNOWN) || error.Is(SD_BUS_ERROR_NAME_HAS_NO_OWNER);
        return missing ? "NoNotificationService" : "NotifyFailed";
    }
    m_shown[id] = Shown{client, path, &toast};
    std::fprintf(stderr, "qv_companion: showing %s as notification %u for %s\n", WideToUtf8(toast.name).c_str(), id,
                 client.c_str());
    return "OK";
}

void CCompanionService::ActionInvoked(uint32_t id, const char* actionKey) {
    auto shown = m_shown.find(id);
    if (shown == m_shown.end()) return;  // not ours
    std::optional<ValueSet> request = ActivatedRequest(*shown->second.toast, actionKey);
    if (!request) {
        std::fprintf(stderr, "qv_companion: notification %u: unknown action %s ignored\n", id, actionKey);
        return;
    }
    std::fprintf(stderr, "qv_companion: notification %u answered: %s\n", id, actionKey);
    SendRequest(shown->second, *request);
    // Forgotten before it is closed: the closing that follows is no dismissal.
    m_shown.erase(shown);
    CloseNotification(id);
}

void CCompanionService::NotificationClosed(uint32_t id) {
    auto shown = m_shown.find(id);
    if (shown == m_shown.end()) return;
    std::fprintf(stderr, "qv_companion: notification %u dismissed\n", id);
    SendRequest(shown->second, DismissedRequest());
    m_shown.erase(shown);
}

void CCompanionService::SendRequest(const Shown& shown, const ValueSet& request) {
    sd_bus_message* signal = nullptr;
    int r = sd_bus_message_new_signal(m_bus, &signal, shown.path.c_str(), kCompanionInterface, "Request");
    CSdBusMessage held(signal);
    if (r >= 0) r = sd_bus_message_set_destination(signal, shown.client.c_str());
    if (r >= 0) r = AppendValueSet(signal, request);
    if (r >= 0) r = sd_bus_send(m_bus, signal, nullptr);
    if (r < 0) std::fprintf(stderr, "qv_companion: the answer could not be sent: %s\n", std::strerror(-r));
}

void CCompanionService::CloseNotification(uint32_t id) {
    sd_bus_call_method_async(m_bus, nullptr, kNotifications, kNotificationsPath, kNotifications, "CloseNotification",
                             nullptr, nullptr, "u", id);
}

}  // namespace qv::companion
