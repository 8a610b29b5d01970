#include "platform/linux/linux_bus_queries.h"

#include <cstring>

namespace qv {

namespace {

constexpr const char* kBusService = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";
constexpr const char* kBusInterface = "org.freedesktop.DBus";

}  // namespace

int OpenBoundedSessionBus(const std::optional<std::string>& address, CSdBus& bus) {
    int r = OpenSessionBus(address, bus);
    if (r >= 0) {
        const auto usec = std::chrono::duration_cast<std::chrono::microseconds>(kBusCallTimeout).count();
        r = sd_bus_set_method_call_timeout(bus.get(), static_cast<uint64_t>(usec));
    }
    if (r < 0) bus.reset();
    return r;
}

int GetNameOwner(sd_bus* bus, const std::string& name, std::string& owner, CSdBusError& error) {
    owner.clear();
    sd_bus_message* reply = nullptr;
    int r = sd_bus_call_method(bus, kBusService, kBusPath, kBusInterface, "GetNameOwner", error.get(), &reply, "s",
                               name.c_str());
    CSdBusMessage held(reply);
    const char* unique = nullptr;
    if (r >= 0) r = sd_bus_message_read(reply, "s", &unique);
    if (r >= 0) owner = unique;
    return r;
}

int IsActivatable(sd_bus* bus, const std::string& name, bool& activatable, CSdBusError& error) {
    activatable = false;
    sd_bus_message* reply = nullptr;
    int r =
        sd_bus_call_method(bus, kBusService, kBusPath, kBusInterface, "ListActivatableNames", error.get(), &reply, "");
    CSdBusMessage held(reply);
    if (r >= 0) r = sd_bus_message_enter_container(reply, 'a', "s");
    const char* listed = nullptr;
    while (r >= 0 && (r = sd_bus_message_read(reply, "s", &listed)) > 0) {
        if (name == listed) activatable = true;
    }
    return r;
}

int StartServiceByName(sd_bus* bus, const std::string& name, CSdBusError& error) {
    sd_bus_message* reply = nullptr;
    int r = sd_bus_call_method(bus, kBusService, kBusPath, kBusInterface, "StartServiceByName", error.get(), &reply,
                               "su", name.c_str(), 0u);
    CSdBusMessage held(reply);
    return r;
}

int IsOwnedOrActivatable(sd_bus* bus, const std::string& name, bool& present, CSdBusError& error) {
    present = false;
    sd_bus_message* reply = nullptr;
    int r = sd_bus_call_method(bus, kBusService, kBusPath, kBusInterface, "NameHasOwner", error.get(), &reply, "s",
                               name.c_str());
    CSdBusMessage held(reply);
    int owned = 0;
    if (r >= 0) r = sd_bus_message_read(reply, "b", &owned);
    if (r < 0) return r;
    if (owned) {
        present = true;
        return r;
    }
    return IsActivatable(bus, name, present, error);
}

}  // namespace qv
