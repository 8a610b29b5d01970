// qv_companion: see companion_service.h for what it answers and
// companion_options.cpp for its command line. One thread: the bus and the
// stop signals are served by one poll loop.
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "companion_options.h"
#include "companion_service.h"
#include "platform/linux/linux_sd_bus.h"
#include "platform/linux/linux_unique_fd.h"

namespace {

using namespace qv;
using namespace qv::companion;

// Serves the bus until a stop signal (0) or the bus's loss (1).
int Serve(sd_bus* bus, int signals) {
    for (;;) {
        int r;
        while ((r = sd_bus_process(bus, nullptr)) > 0) {
        }
        if (r < 0) {
            std::fprintf(stderr, "qv_companion: the session bus has gone: %s\n", std::strerror(-r));
            return 1;
        }
        pollfd fds[2] = {{sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0}, {signals, POLLIN, 0}};
        if (::poll(fds, 2, SdBusPollTimeout(bus)) < 0 && errno != EINTR) return 1;
        if (fds[1].revents & POLLIN) {
            signalfd_siginfo info{};
            if (::read(signals, &info, sizeof info) == static_cast<ssize_t>(sizeof info))
                std::fprintf(stderr, "qv_companion: stopping on %s\n", strsignal(static_cast<int>(info.ssi_signo)));
            return 0;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = ParseOptions(argc, argv);
    if (options.help) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (!options.error.empty()) {
        std::fprintf(stderr, "qv_companion: %s\n%s", options.error.c_str(), kUsage);
        return 2;
    }
    // Taken as a descriptor, so the stop is handled in the loop, between
    // two messages, never inside one.
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &stops, nullptr);
    CUniqueFd signals(::signalfd(-1, &stops, SFD_CLOEXEC));
    CSdBus bus;
    if (int r = OpenSessionBus(std::nullopt, bus); r < 0 || !signals) {
        std::fprintf(stderr, "qv_companion: no session bus: %s\n", std::strerror(r < 0 ? -r : errno));
        return 1;
    }
    CCompanionService service(bus.get(), options.notificationsOff);
    if (!service.Start(options.apps)) return 1;
    const int result = Serve(bus.get(), signals.get());
    if (result == 0) service.Stop();
    return result;
}
