// An sd-bus connection served by a thread of its own. sd-bus objects belong
// to one thread, so once the connection is handed over here, only this
// thread touches it: other threads hand it tasks and wait for them. The
// thread runs no code of the model; match and method callbacks installed on
// the connection run on it and must only queue what they hear.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "platform/linux/linux_sd_bus.h"
#include "platform/linux/linux_unique_fd.h"

namespace qv {

class CLinuxBusThread {
public:
    // A null bus: the connection has ended, and the task can only fail.
    using Task = std::function<void(sd_bus* bus)>;

    // Serves a started connection. onLost runs on the bus thread when the
    // connection ends by itself (the bus went away), never after Stop.
    explicit CLinuxBusThread(CSdBus bus, std::function<void()> onLost = {});
    ~CLinuxBusThread();
    CLinuxBusThread(const CLinuxBusThread&) = delete;
    CLinuxBusThread& operator=(const CLinuxBusThread&) = delete;

    // Runs the task on the bus thread and waits until it has run. Once the
    // thread has ended it runs here at once, with a null bus.
    void Run(const Task& task);
    // Ends the thread after the task that is running, if any; what is still
    // queued runs with a null bus. May be called more than once.
    void Stop();
    bool IsCurrent() const { return std::this_thread::get_id() == m_id; }

private:
    struct Queued {
        const Task* task;
        bool* done;
    };
    void Serve();
    bool RunQueued(sd_bus* bus);  // whether there was anything to run
    void End();
    void Wake();

    CSdBus m_bus;  // the bus thread's alone while it runs
    std::function<void()> m_onLost;
    CUniqueFd m_wake;
    std::mutex m_mutex;
    std::condition_variable m_ran;
    std::deque<Queued> m_queue;
    bool m_stopping = false;
    bool m_ended = false;
    std::mutex m_joinMutex;
    std::thread m_thread;
    std::thread::id m_id;
};

}  // namespace qv
