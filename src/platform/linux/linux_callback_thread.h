// The thread on which the audio port calls the model back: one callback
// after another, in the order in which the sound server's events came.
// The sound server's own thread only queues here, so it never waits for
// model code, and a callback may call any port operation, even one that
// needs an answer from the server.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace qv {

class CLinuxCallbackThread {
public:
    CLinuxCallbackThread();
    // Stop().
    ~CLinuxCallbackThread();
    CLinuxCallbackThread(const CLinuxCallbackThread&) = delete;
    CLinuxCallbackThread& operator=(const CLinuxCallbackThread&) = delete;

    // Queues a delivery; after Stop it is dropped.
    void Post(std::function<void()> delivery);
    bool IsCurrent() const { return std::this_thread::get_id() == m_id; }
    // Drops what is queued and ends the thread, waiting for a delivery in
    // progress. Called from a delivery (whose last reference to the owner
    // went there), it cannot wait for itself: the thread finishes that
    // delivery and ends on its own.
    void Stop();

private:
    struct State {
        std::mutex mutex;
        std::condition_variable wake;
        std::deque<std::function<void()>> queue;
        bool stopped = false;
    };
    static void Run(const std::shared_ptr<State>& state);

    std::shared_ptr<State> m_state;
    std::thread m_thread;
    std::thread::id m_id;
};

}  // namespace qv
