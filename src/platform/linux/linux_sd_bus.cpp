#include "platform/linux/linux_sd_bus.h"

namespace qv {

int OpenSessionBus(const std::optional<std::string>& address, CSdBus& bus) {
    bus.reset();
    sd_bus* opened = nullptr;
    int r;
    if (!address) {
        r = sd_bus_open_user(&opened);
        bus.reset(opened);
        return r;
    }
    r = sd_bus_new(&opened);
    bus.reset(opened);
    if (r >= 0) r = sd_bus_set_address(opened, address->c_str());
    if (r >= 0) r = sd_bus_set_bus_client(opened, 1);
    if (r >= 0) r = sd_bus_start(opened);
    if (r < 0) bus.reset();
    return r;
}

}  // namespace qv
