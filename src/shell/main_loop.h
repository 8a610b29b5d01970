// The main thread's loop: every posted function runs here, one at a time,
// inside DispatchLock, in the order the queue gives them.
#pragma once

#include <functional>
#include <mutex>

#include "core/async.h"
#include "platform/loop.h"

namespace qv {

class CMainLoop {
public:
    explicit CMainLoop(CRefPtr<IMessageLoop> loop);

    // The posting function that the dispatcher is built with: it copies the
    // function onto the heap and posts it as message 1124 to the loop's
    // thread. A refused post frees the copy (nothing runs it).
    CAsyncActionDispatcher::PostingFunction PostingFunction() const;

    // Turns until the quit message comes, or until watcherEnded (if given)
    // says so after a message has been handled. Returns the number of
    // messages dispatched.
    std::size_t Run(const std::function<bool()>& watcherEnded = {});

    // Held around the dispatch of each message.
    std::mutex DispatchLock;

    const CRefPtr<IMessageLoop>& Loop() const { return m_loop; }

private:
    CRefPtr<IMessageLoop> m_loop;
};

// Posts a function to a loop as message 1124; false if the queue refused it.
bool PostFunctionMessage(IMessageLoop& loop, const std::function<void()>& function);

}  // namespace qv
