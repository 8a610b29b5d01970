// The thread on which a port calls the model back, one callback after
// another in the order in which the events were raised, as the platform's
// own notification threads do. The thread that sees an event (the sound
// server's, a simulation's) only queues here, so it never waits for model
// code, and a callback may call any port operation, even one that needs an
// answer from that thread. Never the caller's thread, so the model's posting
// discipline is exercised.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace qv {

class CCallbackThread {
public:
    CCallbackThread();
    ~CCallbackThread();
    CCallbackThread(const CCallbackThread&) = delete;
    CCallbackThread& operator=(const CCallbackThread&) = delete;

    // Queues a delivery. After Stop it is dropped.
    void Post(std::function<void()> delivery);
    // Returns true once everything posted before the call has been delivered
    // and no delivery runs; false after the time-out, or at once when called
    // from a callback, which would otherwise wait for itself.
    bool WaitUntilDelivered(std::chrono::milliseconds timeout);
    bool IsCurrent() const { return std::this_thread::get_id() == m_id; }
    // Drops what is still queued and ends the thread.
    void Stop();

private:
    struct State {
        std::mutex mutex;
        std::condition_variable wake;
        std::condition_variable idle;
        std::deque<std::function<void()>> queue;
        bool busy = false;
        bool stopped = false;
        bool ended = false;  // the thread has left Run
    };
    static void Run(const std::shared_ptr<State>& state);
    static void MarkStopped(State& state);

    // Shared with the thread, so that a Stop from within a callback, which
    // cannot wait for its own end, can leave the thread to finish on its
    // own. The thread itself is a CThread: the process's list of threads
    // owns it and joins it, at the program's end at the latest.
    std::shared_ptr<State> m_state;
    std::thread::id m_id;
};

}  // namespace qv
