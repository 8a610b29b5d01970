#include "platform/callback_thread.h"

namespace qv {

CCallbackThread::CCallbackThread() : m_state(std::make_shared<State>()) {
    m_thread = std::thread([state = m_state] { Run(state); });
    m_id = m_thread.get_id();
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
    if (!m_thread.joinable()) return;
    if (IsCurrent())
        m_thread.detach();
    else
        m_thread.join();
}

}  // namespace qv
