#include "core/async.h"

#include <exception>
#include <limits>
#include <system_error>
#include <vector>

namespace qv {

namespace {

struct ThreadList {
    std::mutex mutex;
    std::vector<std::shared_ptr<CThread>> threads;
    // At process end every unfinished thread gets a stop request and is
    // joined, so the exit waits for sleeping delayed actions.
    ~ThreadList() {
        std::vector<std::shared_ptr<CThread>> dropped;
        {
            std::lock_guard lock(mutex);
            dropped.swap(threads);
        }
        dropped.clear();
    }
};

ThreadList& Threads() {
    static ThreadList list;
    return list;
}

}  // namespace

CRefPtr<CAsyncAction> CAsyncAction::Post(CRefPtr<IAsyncActionDispatcher> dispatcher, std::chrono::milliseconds delay,
                                         const Function& function,
                                         const CRefPtr<CAsyncActionCancellation>& cancellation) {
    if (!dispatcher) return {};
    CRefPtr<CAsyncAction> action;
    action.Attach(new CAsyncAction());
    action->m_cancellation = cancellation ? cancellation : MakeRef<CAsyncActionCancellation>();
    CAsyncActionCancellation& c = *action->m_cancellation;

    // An already cancelled chain: the action exists, nothing will run it,
    // and it never counts as finished.
    if (c.Cancelled.load()) return action;
    action->m_function = function;
    // A cancel got in between: put the lock back for any other waiter.
    if (c.WaitLock.try_lock()) {
        c.WaitLock.unlock();
        return action;
    }

    if (delay.count() != 0) {
        // The delay counts from the post: the start of the thread that waits
        // it out (a good part of a millisecond on a busy machine) is inside
        // it, not added to it.
        const auto due = std::chrono::steady_clock::now() + delay;
        CThread::Start([dispatcher, action, due](std::stop_token) { action->DelayedWait(dispatcher, due); });
    } else {
        CRefPtr<CAsyncAction> held = action;
        if (!dispatcher->Post([held] { held->RunBody(); })) action->Finished.store(true);
    }
    return action;
}

void CAsyncAction::DelayedWait(const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                               std::chrono::steady_clock::time_point due) {
    CAsyncActionCancellation& c = *m_cancellation;
    if (c.WaitLock.try_lock_until(due)) {
        // Cancelled. Hand the lock on so that the next thread sleeping on a
        // shared cancellation wakes as well.
        Finished.store(true);
        c.WaitLock.unlock();
        return;
    }
    CRefPtr<CAsyncAction> held(this);
    dispatcher->Post([held] { held->RunBody(); });
}

void CAsyncAction::RunBody() {
    CAsyncActionCancellation& c = *m_cancellation;
    if (c.WaitLock.try_lock()) {
        // Cancelled after it had been queued.
        Finished.store(true);
        c.WaitLock.unlock();
        return;
    }
    {
        std::lock_guard run(RunLock);
        m_function(CRefPtr<CAsyncAction>(this));
        Ran.store(true);
    }
    Finished.store(true);
}

bool CAsyncAction::Cancel(CAsyncAction* action, int64_t timeoutMs) {
    if (!action) return false;
    CAsyncActionCancellation& c = *action->m_cancellation;
    if (c.Cancelled.exchange(true)) return false;
    c.WaitLock.unlock();
    if (timeoutMs == 0) return true;
    if (timeoutMs == std::numeric_limits<int64_t>::max()) {
        action->RunLock.lock();
        action->RunLock.unlock();
        return true;
    }
    if (!action->RunLock.try_lock_for(std::chrono::milliseconds(timeoutMs))) return false;
    action->RunLock.unlock();
    return true;
}

std::shared_ptr<CThread> CThread::Start(std::function<void(std::stop_token)> function) {
    std::shared_ptr<CThread> thread(new CThread());
    CThread* raw = thread.get();
    raw->m_thread = std::jthread([raw, function = std::move(function)](std::stop_token token) mutable {
        function(token);
        // What the function holds goes before the thread counts as finished:
        // a finished thread is joined under the list's lock, and a destructor
        // run here may well start a thread, which takes that lock.
        function = nullptr;
        raw->Finished.store(true);
    });
    ThreadList& list = Threads();
    std::lock_guard lock(list.mutex);
    for (auto i = list.threads.size(); i-- > 0;) {
        if (list.threads[i]->Finished.load()) list.threads.erase(list.threads.begin() + static_cast<std::ptrdiff_t>(i));
    }
    list.threads.push_back(thread);
    return thread;
}

CThread::~CThread() {
    if (!m_thread.joinable()) return;
    m_thread.request_stop();
    try {
        m_thread.join();
    } catch (const std::system_error& e) {
        // The last reference went on this very thread. Any other error ends
        // the process, as an error that escapes a destructor would.
        if (e.code() != std::errc::resource_deadlock_would_occur) std::terminate();
    }
    try {
        m_thread.detach();
    } catch (const std::system_error& e) {
        if (e.code() != std::errc::invalid_argument) std::terminate();
    }
}

std::size_t CThread::UnreapedCount() {
    ThreadList& list = Threads();
    std::lock_guard lock(list.mutex);
    return list.threads.size();
}

}  // namespace qv
