#include "platform/callback_thread.h"

#include "core/async.h"

namespace qv {

CCallbackThread::CCallbackThread() : m_state(std::make_shared<State>()) {
    m_id = CThread::Start([state = m_state](std::stop_token token) {
               // At the program's end the list of threads asks every thread
               // to stop; one whose owner is still alive ends here too.
               std::stop_callback onStop(token, [&state] { MarkStopped(*state); });
               Run(state);
               {
                   std::lock_guard lock(state->mutex);
                   state->ended = true;
               }
               state->idle.notify_all();
           })->Id();
}

CCallbackThread::~CCallbackThread() { Stop(); }

void CCallbackThread::Run(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    for (;;) {
        state->wake.wait(lock, [&] { return state->stopped || !state->queue.empty(); });
        if (state->stopped) return;
        std::function<void()> delivery = std::move(state->queue.front());
        state->queue.pop_front();
        state->busy = true;
        lock.unlock();
        delivery();
        // What the delivery holds (often the model's last reference) goes
        // here, outside the lock, as the platform's threads release theirs.
        delivery = nullptr;
        lock.lock();
        state->busy = false;
        if (state->queue.empty()) state->idle.notify_all();
    }
}

void CCallbackThread::Post(std::function<void()> delivery) {
    {
        std::lock_guard lock(m_state->mutex);
        if (m_state->stopped) return;
        m_state->queue.push_back(std::move(delivery));
    }
    m_state->wake.notify_one();
}

bool CCallbackThread::WaitUntilDelivered(std::chrono::milliseconds timeout) {
    if (IsCurrent()) return false;
    std::unique_lock lock(m_state->mutex);
    return m_state->idle.wait_for(lock, timeout,
                                  [&] { return m_state->stopped || (m_state->queue.empty() && !m_state->busy); });
}

void CCallbackThread::MarkStopped(State& state) {
    {
        std::lock_guard lock(state.mutex);
        state.stopped = true;
    }
    state.wake.notify_all();
    state.idle.notify_all();
}

void CCallbackThread::Stop() {
    std::deque<std::function<void()>> dropped;
    {
        std::lock_guard lock(m_state->mutex);
        m_state->stopped = true;
        dropped.swap(m_state->queue);
    }
    m_state->wake.notify_all();
    m_state->idle.notify_all();
    dropped.clear();
    // A callback cannot wait for its own thread, which ends as soon as the
    // callback has returned.
    if (IsCurrent()) return;
    std::unique_lock lock(m_state->mutex);
    m_state->idle.wait(lock, [&] { return m_state->ended; });
}

}  // namespace qv
