#include "shell/main_loop.h"

#include <memory>

namespace qv {

bool PostFunctionMessage(IMessageLoop& loop, const std::function<void()>& function) {
    auto* copy = new std::function<void()>(function);
    if (loop.PostThreadMessage(kPostedFunctionMessage, 0, reinterpret_cast<intptr_t>(copy))) return true;
    // Nothing will ever run it; freeing it changes nothing else.
    delete copy;
    return false;
}

CMainLoop::CMainLoop(CRefPtr<IMessageLoop> loop) : m_loop(std::move(loop)) {}

CAsyncActionDispatcher::PostingFunction CMainLoop::PostingFunction() const {
    // Holds the loop strongly: a delayed action may still post after main has
    // let go of everything; the post then reaches a queue nobody reads.
    CRefPtr<IMessageLoop> loop = m_loop;
    return [loop](const std::function<void()>& function) { return PostFunctionMessage(*loop, function); };
}

std::size_t CMainLoop::Run(const std::function<bool()>& watcherEnded) {
    std::size_t dispatched = 0;
    LoopMessage message;
    while (m_loop->GetMessage(message) != 0) {
        {
            std::lock_guard lock(DispatchLock);
            if (message.message == kPostedFunctionMessage) {
                // Owned from here on, so that it is freed even when it raises.
                std::unique_ptr<std::function<void()>> function(
                    reinterpret_cast<std::function<void()>*>(message.lParam));
                // An empty function raises std::bad_function_call, which
                // ends the process.
                if (function) (*function)();
            } else {
                m_loop->DispatchPlatformMessage(message);
            }
        }
        ++dispatched;
        if (watcherEnded && watcherEnded()) break;
    }
    return dispatched;
}

}  // namespace qv
