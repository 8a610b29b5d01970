// The main loop on Windows: the creating thread's own message queue. Any
// thread may post to it with PostThreadMessageW; only the creating thread can
// read it, since GetMessageW always reads the queue of its caller.
#pragma once

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

private:
    ~CWin32MessageLoop() override;

    const DWORD m_threadId;
    // The last message that GetMessage took, whole (window, time, point), so
    // that dispatching it hands the system what it gave. Touched only by the
    // loop's own thread.
    MSG m_last{};
};

}  // namespace qv
