#include "platform/linux/linux_callback_thread.h"

namespace qv {

CLinuxCallbackThread::CLinuxCallbackThread() : m_state(std::make_shared<State>()) {
    m_thread = std::thread([state = m_state] { Run(state); });
    m_id = m_thread.get_id();
}

CLinuxCallbackThread::~CLinuxCallbackThread() { Stop(); }

void CLinuxCallbackThread::Post(std::function<void()> delivery) {
    {
        std::lock_guard lock(m_state->mutex);
        if (m_state->stopped) return;
        m_state->queue.push_back(std::move(delivery));
    }
    m_state->wake.notify_one();
}

void CLinuxCallbackThread::Run(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    for (;;) {
        state->wake.wait(lock, [&] { return state->stopped || !state->queue.empty(); });
        if (state->stopped) return;
        std::function<void()> delivery = std::move(state->queue.front());
        state->queue.pop_front();
        lock.unlock();
        delivery();
        // What the delivery held goes before the lock is taken again: it
        // may be the last reference to the owner, whose Stop takes the lock.
        delivery = nullptr;
        lock.lock();
    }
}

void CLinuxCallbackThread::Stop() {
    std::deque<std::function<void()>> dropped;
    {
        std::lock_guard lock(m_state->mutex);
        m_state->stopped = true;
        dropped.swap(m_state->queue);
    }
    m_state->wake.notify_all();
    if (!m_thread.joinable()) return;
    if (IsCurrent())
        m_thread.detach();
    else
        m_thread.join();
    // The dropped deliveries go here, outside the lock.
}

}  // namespace qv
