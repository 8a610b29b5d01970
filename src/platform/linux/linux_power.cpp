#include "platform/linux/linux_power.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

#include <systemd/sd-bus.h>

#include "platform/codes.h"
#include "platform/linux/linux_unique_fd.h"

namespace qv {

// The connection and the thread that serves it. sd-bus objects belong to one
// thread: after the start, only the bus thread touches them.
struct CLinuxPower::Bus {
    sd_bus* bus = nullptr;
    sd_bus_slot* match = nullptr;
    CUniqueFd stop{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::thread thread;

    ~Bus() {
        if (thread.joinable()) {
            const uint64_t one = 1;
            [[maybe_unused]] ssize_t n = ::write(stop.get(), &one, sizeof one);
            thread.join();
        }
        sd_bus_slot_unref(match);
        sd_bus_flush_close_unref(bus);
    }

    void Serve() {
        for (;;) {
            int r;
            while ((r = sd_bus_process(bus, nullptr)) > 0) {
            }
            if (r < 0) return;  // the connection is gone
            pollfd fds[2] = {{sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0},
                             {stop.get(), POLLIN, 0}};
            uint64_t usec = UINT64_MAX;
            sd_bus_get_timeout(bus, &usec);
            int timeout = -1;
            if (usec != UINT64_MAX) {
                timespec now{};
                ::clock_gettime(CLOCK_MONOTONIC, &now);
                const uint64_t nowUsec =
                    static_cast<uint64_t>(now.tv_sec) * 1000000u + static_cast<uint64_t>(now.tv_nsec) / 1000u;
                timeout = usec <= nowUsec
                              ? 0
                              : static_cast<int>(std::min<uint64_t>((usec - nowUsec + 999) / 1000, INT32_MAX));
            }
            if (::poll(fds, 2, timeout) < 0 && errno != EINTR) return;
            if (fds[1].revents & POLLIN) return;
        }
    }
};

namespace {

int OnPrepareForSleep(sd_bus_message* message, void* userdata, sd_bus_error*) {
    int suspending = 0;
    if (sd_bus_message_read(message, "b", &suspending) < 0) return 0;
    static_cast<CLinuxPower*>(userdata)->Deliver(suspending ? PBT_APMSUSPEND : PBT_APMRESUMEAUTOMATIC);
    return 0;
}

void SayUnavailableOnce(int error) {
    static std::atomic<bool> said{false};
    if (said.exchange(true)) return;
    std::fprintf(stderr, "linux: power events are unavailable: no system bus to hear logind on (%s)\n",
                 std::strerror(error));
}

}  // namespace

CLinuxPower::CLinuxPower(std::optional<std::string> busAddress) : m_busAddress(std::move(busAddress)) {}

CLinuxPower::~CLinuxPower() {
    std::unique_ptr<Bus> bus;
    {
        std::lock_guard lock(m_mutex);
        bus = std::move(m_bus);
    }
    // Joined outside the lock: a delivery in progress takes it.
}

Win32Error CLinuxPower::StartLocked() {
    if (m_bus) return ERROR_SUCCESS;
    if (m_unavailable) return ERROR_NOT_SUPPORTED;
    auto bus = std::make_unique<Bus>();
    int r;
    if (m_busAddress) {
        r = sd_bus_new(&bus->bus);
        if (r >= 0) r = sd_bus_set_address(bus->bus, m_busAddress->c_str());
        if (r >= 0) r = sd_bus_set_bus_client(bus->bus, 1);
        if (r >= 0) r = sd_bus_start(bus->bus);
    } else {
        r = sd_bus_open_system(&bus->bus);
    }
    if (r >= 0 && !bus->stop) r = -errno;
    if (r >= 0)
        r = sd_bus_match_signal(bus->bus, &bus->match, "org.freedesktop.login1", "/org/freedesktop/login1",
                                "org.freedesktop.login1.Manager", "PrepareForSleep", OnPrepareForSleep, this);
    if (r < 0) {
        // Once unavailable, always: retrying on each registration would only
        // repeat the same wait for a bus that is not there.
        m_unavailable = true;
        SayUnavailableOnce(-r);
        return ERROR_NOT_SUPPORTED;
    }
    Bus* serving = bus.get();
    bus->thread = std::thread([serving] { serving->Serve(); });
    m_bus = std::move(bus);
    return ERROR_SUCCESS;
}

Win32Error CLinuxPower::PowerRegisterSuspendResumeNotification(ISuspendResumeCallback* callback,
                                                               HPOWERNOTIFY& registration) {
    registration = 0;
    if (!callback) return ERROR_INVALID_PARAMETER;
    std::lock_guard lock(m_mutex);
    if (Win32Error error = StartLocked(); error != 0) return error;
    registration = ++m_lastRegistration;
    m_callbacks[registration] = callback;
    return ERROR_SUCCESS;
}

Win32Error CLinuxPower::PowerUnregisterSuspendResumeNotification(HPOWERNOTIFY registration) {
    std::unique_lock lock(m_mutex);
    if (m_callbacks.erase(registration) == 0) return ERROR_INVALID_HANDLE;
    const bool onBusThread = m_bus && m_bus->thread.get_id() == std::this_thread::get_id();
    if (!onBusThread) m_idle.wait(lock, [&] { return m_running != registration; });
    return ERROR_SUCCESS;
}

void CLinuxPower::Deliver(uint32_t type) {
    std::unique_lock lock(m_mutex);
    std::vector<HPOWERNOTIFY> ids;
    for (const auto& [id, callback] : m_callbacks) ids.push_back(id);
    for (HPOWERNOTIFY id : ids) {
        auto found = m_callbacks.find(id);
        if (found == m_callbacks.end()) continue;  // unregistered meanwhile
        ISuspendResumeCallback* callback = found->second;
        m_running = id;
        lock.unlock();
        callback->PowerSuspendResumeNotification(type, nullptr);
        lock.lock();
        m_running = 0;
        m_idle.notify_all();
    }
}

}  // namespace qv
