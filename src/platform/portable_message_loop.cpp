#include "platform/portable_message_loop.h"

#include <functional>

#include "platform/thread_id.h"

namespace qv {

CPortableMessageLoop::CPortableMessageLoop() : m_threadId(CurrentThreadId()) {}

namespace {

// Messages that nobody will dispatch are dropped with their functions. The
// functions are freed, where a Windows process would simply lose them at
// exit, so that the leak checker sees a clean end.
void Drop(std::deque<LoopMessage>& queue) {
    for (const LoopMessage& m : queue) {
        if (m.message == kPostedFunctionMessage && m.lParam != 0)
            delete reinterpret_cast<std::function<void()>*>(m.lParam);
    }
    queue.clear();
}

}  // namespace

CPortableMessageLoop::~CPortableMessageLoop() { Drop(m_queue); }

bool CPortableMessageLoop::PostThreadMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    {
        std::lock_guard lock(m_mutex);
        if (m_closed) return false;
        m_queue.push_back({message, wParam, lParam});
    }
    m_cv.notify_one();
    return true;
}

int CPortableMessageLoop::GetMessage(LoopMessage& message) {
    std::unique_lock lock(m_mutex);
    m_cv.wait(lock, [&] { return !m_queue.empty(); });
    message = m_queue.front();
    m_queue.pop_front();
    return message.message == kQuitMessage ? 0 : 1;
}

bool CPortableMessageLoop::GetMessageFor(LoopMessage& message, std::chrono::milliseconds timeout) {
    std::unique_lock lock(m_mutex);
    if (!m_cv.wait_for(lock, timeout, [&] { return !m_queue.empty(); })) return false;
    message = m_queue.front();
    m_queue.pop_front();
    return true;
}

void CPortableMessageLoop::DispatchPlatformMessage(const LoopMessage&) {
    // There are no windows to dispatch to.
}

void CPortableMessageLoop::Close() {
    std::deque<LoopMessage> dropped;
    {
        std::lock_guard lock(m_mutex);
        m_closed = true;
        dropped.swap(m_queue);
    }
    // Outside the lock: a function's captures may post on their way out,
    // which the closed loop refuses.
    Drop(dropped);
}

std::size_t CPortableMessageLoop::QueuedCount() const {
    std::lock_guard lock(m_mutex);
    return m_queue.size();
}

}  // namespace qv
