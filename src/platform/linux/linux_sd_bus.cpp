#include "platform/linux/linux_sd_bus.h"

#include <time.h>

#include <algorithm>
#include <cstdint>

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

int SdBusPollTimeout(sd_bus* bus) {
    uint64_t usec = UINT64_MAX;
    if (sd_bus_get_timeout(bus, &usec) < 0 || usec == UINT64_MAX) return -1;
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const uint64_t nowUsec = static_cast<uint64_t>(now.tv_sec) * 1000000u + static_cast<uint64_t>(now.tv_nsec) / 1000u;
    if (usec <= nowUsec) return 0;
    return static_cast<int>(std::min<uint64_t>((usec - nowUsec + 999) / 1000, INT32_MAX));
}

}  // namespace qv
