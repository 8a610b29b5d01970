// The questions the app-service port asks the session bus itself
// (org.freedesktop.DBus), each a blocking call bounded by kBusCallTimeout.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/linux/linux_sd_bus.h"

namespace qv {

// Long enough for a companion that is being started, or that waits for the
// desktop's notification service, which answers within its own time-out.
inline constexpr std::chrono::seconds kBusCallTimeout{10};

// OpenSessionBus with kBusCallTimeout for every call made on it.
int OpenBoundedSessionBus(const std::optional<std::string>& address, CSdBus& bus);

// Each gives sd-bus's result, negative on failure, with the bus's error.
int GetNameOwner(sd_bus* bus, const std::string& name, std::string& owner, CSdBusError& error);
int IsActivatable(sd_bus* bus, const std::string& name, bool& activatable, CSdBusError& error);
// Asks the bus to start the name's program; returns once it owns the name.
int StartServiceByName(sd_bus* bus, const std::string& name, CSdBusError& error);

// The name has an owner, or the bus can start one.
int IsOwnedOrActivatable(sd_bus* bus, const std::string& name, bool& present, CSdBusError& error);

}  // namespace qv
