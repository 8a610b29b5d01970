// The thread message queue of the main thread. On Windows it is the thread's
// own queue (PostThreadMessageW / GetMessageW); elsewhere a queue with the
// same order and quit semantics. Any thread may post; only the thread that
// made the loop reads it.
#pragma once

#include <cstdint>

#include "core/ref.h"

namespace qv {

struct LoopMessage {
    uint32_t message = 0;
    uintptr_t wParam = 0;
    intptr_t lParam = 0;
};

// Message 1124 (WM_USER + 100) carries a heap std::function<void()> in
// lParam; message 18 is the quit message.
inline constexpr uint32_t kPostedFunctionMessage = 0x400 + 100;
inline constexpr uint32_t kQuitMessage = 18;

struct IMessageLoop : virtual IAddReleaseRef {
    // PostThreadMessageW to the loop's thread. False if the message could
    // not be queued (the loop's thread has gone, or the queue refused).
    virtual bool PostThreadMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) = 0;
    // GetMessageW: blocks for the next message; 0 for the quit message,
    // -1 on failure, otherwise a positive value.
    virtual int GetMessage(LoopMessage& message) = 0;
    // TranslateMessage and DispatchMessageW for a message that is not the
    // system's own; where there are no windows it drops it.
    virtual void DispatchPlatformMessage(const LoopMessage& message) = 0;
    // The id of the thread whose queue this is.
    virtual uint32_t ThreadId() const = 0;
    // On the loop's thread, once the loop is over: later posts fail, as a
    // post to a thread that has ended does, and the functions still queued
    // are freed. A queued function may hold the model, which holds the
    // dispatcher that holds the loop: freeing it is what lets that circle go.
    virtual void Close() = 0;
};

}  // namespace qv
