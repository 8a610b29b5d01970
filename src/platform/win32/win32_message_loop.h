// The main loop on Windows: the creating thread's own message queue. Any
// thread may post to it with PostThreadMessageW; only the creating thread can
// read it, since GetMessageW always reads the queue of its caller.
#pragma once

#include <atomic>

#include "platform/win32/windows_api.h"

#include "platform/loop.h"

namespace qv {

class CWin32MessageLoop : public CAddReleaseRef, public IMessageLoop {
public:
    // Makes sure the calling thread has a queue, so that a post that comes
    // before the first GetMessageW is kept rather than refused.
    CWin32MessageLoop();

    bool PostThreadMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) override;
    int GetMessage(LoopMessage& message) override;
    void DispatchPlatformMessage(const LoopMessage& message) override;
    uint32_t ThreadId() const override { return m_threadId; }
    // The system's queue cannot refuse a post; the loop refuses them itself
    // from here on.
    void Close() override;

private:
    ~CWin32MessageLoop() override;
    // Frees the functions still in the queue; only the loop's own thread can
    // reach them.
    void FreeQueuedFunctions();

    const DWORD m_threadId;
    std::atomic<bool> m_closed{false};
    // The last message that GetMessage took, whole (window, time, point), so
    // that dispatching it hands the system what it gave. Touched only by the
    // loop's own thread.
    MSG m_last{};
};

}  // namespace qv
