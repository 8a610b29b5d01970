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

    // Stops taking messages: later posts fail, as a post to a thread that has
    // ended does, and what is queued is dropped with it. A queued function
    // may hold the model, which holds the dispatcher that holds this loop:
    // dropping it here is what lets that circle go.
    void Close();
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
