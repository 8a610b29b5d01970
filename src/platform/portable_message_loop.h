// A thread message queue where the platform has none: a mutex-and-condition
// queue with the order and quit semantics of a Windows thread queue. Used on
// Linux and by the simulated platform on every system.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

#include "platform/loop.h"

namespace qv {

class CPortableMessageLoop : public CAddReleaseRef, public IMessageLoop {
public:
    // Bound to the calling thread.
    CPortableMessageLoop();

    bool PostThreadMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) override;
    int GetMessage(LoopMessage& message) override;
    void DispatchPlatformMessage(const LoopMessage& message) override;
    uint32_t ThreadId() const override { return m_threadId; }

    // Any thread may close it here.
    void Close() override;
    std::size_t QueuedCount() const;
    // Like GetMessage, but gives up after the time-out: false then, and the
    // message is untouched. Tests drive the loop with it.
    bool GetMessageFor(LoopMessage& message, std::chrono::milliseconds timeout);

private:
    ~CPortableMessageLoop() override;

    uint32_t m_threadId;
    mutable std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<LoopMessage> m_queue;
    bool m_closed = false;
};

}  // namespace qv
