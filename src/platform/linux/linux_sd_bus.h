// Owners of sd-bus objects, so that no connection, slot, message or error
// leaks on a path that returns early, and the opening of a user's session
// bus in one place.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <systemd/sd-bus.h>

namespace qv {

struct SdBusCloser {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
struct SdBusSlotReleaser {
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
struct SdBusMessageReleaser {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using CSdBus = std::unique_ptr<sd_bus, SdBusCloser>;
using CSdBusSlot = std::unique_ptr<sd_bus_slot, SdBusSlotReleaser>;
using CSdBusMessage = std::unique_ptr<sd_bus_message, SdBusMessageReleaser>;

class CSdBusError {
public:
    CSdBusError() = default;
    ~CSdBusError() { sd_bus_error_free(&m_error); }
    CSdBusError(const CSdBusError&) = delete;
    CSdBusError& operator=(const CSdBusError&) = delete;

    sd_bus_error* get() { return &m_error; }
    bool Is(const char* name) const { return sd_bus_error_has_name(&m_error, name) > 0; }
    const char* Name() const { return m_error.name ? m_error.name : ""; }

private:
    sd_bus_error m_error = SD_BUS_ERROR_NULL;
};

// The user's session bus as sd_bus_open_user finds it
// ($DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus), or the bus at the
// given address. A negative errno when it cannot be reached.
int OpenSessionBus(const std::optional<std::string>& address, CSdBus& bus);

// poll's time-out until sd-bus's next deadline (a call's time-out), in ms;
// -1 when nothing waits for a deadline.
int SdBusPollTimeout(sd_bus* bus);

}  // namespace qv
