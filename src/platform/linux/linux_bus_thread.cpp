#include "platform/linux/linux_bus_thread.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>

namespace qv {

CLinuxBusThread::CLinuxBusThread(CSdBus bus, std::function<void()> onLost)
    : m_bus(std::move(bus)), m_onLost(std::move(onLost)), m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    // The thread starts serving once its id is known here: IsCurrent reads it.
    std::lock_guard lock(m_mutex);
    m_thread = std::thread([this] {
        { std::lock_guard started(m_mutex); }
        Serve();
    });
    m_id = m_thread.get_id();
}

CLinuxBusThread::~CLinuxBusThread() { Stop(); }

void CLinuxBusThread::Wake() {
    const uint64_t one = 1;
    [[maybe_unused]] ssize_t n = ::write(m_wake.get(), &one, sizeof one);
}

void CLinuxBusThread::Run(const Task& task) {
    if (IsCurrent()) {
        task(m_bus.get());
        return;
    }
    bool done = false;
    std::unique_lock lock(m_mutex);
    if (m_ended) {
        lock.unlock();
        task(nullptr);
        return;
    }
    m_queue.push_back(Queued{&task, &done});
    Wake();
    m_ran.wait(lock, [&] { return done; });
}

void CLinuxBusThread::Stop() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    Wake();
    // A connection may be closed from two threads at once (its handler and
    // its owner): one of them joins.
    std::lock_guard join(m_joinMutex);
    if (m_thread.joinable() && !IsCurrent()) m_thread.join();
}

bool CLinuxBusThread::RunQueued(sd_bus* bus) {
    bool ran = false;
    std::unique_lock lock(m_mutex);
    while (!m_queue.empty()) {
        Queued next = m_queue.front();
        m_queue.pop_front();
        lock.unlock();
        (*next.task)(bus);
        ran = true;
        lock.lock();
        *next.done = true;
        m_ran.notify_all();
    }
    return ran;
}

void CLinuxBusThread::End() {
    {
        std::lock_guard lock(m_mutex);
        m_ended = true;
    }
    RunQueued(nullptr);
}

void CLinuxBusThread::Serve() {
    sd_bus* bus = m_bus.get();
    bool lost = !bus || !m_wake;
    while (!lost) {
        int r;
        while ((r = sd_bus_process(bus, nullptr)) > 0) {
        }
        if (r < 0) {
            lost = true;
            break;
        }
        // A task's own call may have read messages that now wait in sd-bus's
        // queue, where poll cannot see them.
        if (RunQueued(bus)) continue;
        {
            std::lock_guard lock(m_mutex);
            if (m_stopping) break;
        }
        pollfd fds[2] = {{sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0},
                         {m_wake.get(), POLLIN, 0}};
        if (::poll(fds, 2, SdBusPollTimeout(bus)) < 0 && errno != EINTR) {
            lost = true;
            break;
        }
        if (fds[1].revents & POLLIN) {
            uint64_t count = 0;
            [[maybe_unused]] ssize_t n = ::read(m_wake.get(), &count, sizeof count);
        }
    }
    End();
    bool stopping;
    {
        std::lock_guard lock(m_mutex);
        stopping = m_stopping;
    }
    if (lost && !stopping && m_onLost) m_onLost();
}

}  // namespace qv
