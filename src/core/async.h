// Delayed actions: how everything off the main thread reaches the model and
// how the main thread defers work. An action runs on the main thread, at once
// or after a delay, and can be cancelled until it has started. A delayed
// action has a thread of its own that sleeps on a timed lock, and cancelling
// releases that lock to wake it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

#include "core/ref.h"

namespace qv {

struct IAsyncActionDispatcher : virtual IAddReleaseRef {
    // True if the function has been queued for the main thread.
    virtual bool Post(const std::function<void()>& function) = 0;
};

// Forwards to the posting function it was given (the main loop's).
class CAsyncActionDispatcher : public CAddReleaseRef, public IAsyncActionDispatcher {
public:
    using PostingFunction = std::function<bool(const std::function<void()>&)>;
    explicit CAsyncActionDispatcher(PostingFunction post) : m_post(std::move(post)) {}
    // An empty posting function raises std::bad_function_call.
    bool Post(const std::function<void()>& function) override { return m_post(function); }

private:
    PostingFunction m_post;
};

// A binary lock that any thread may release, with a timed take. The wait lock
// of a cancellation is taken at construction on one thread and released by
// whichever thread cancels, which a standard mutex does not allow. An action's
// RunLock is one too: the timed take of a std::timed_mutex goes through
// pthread_mutex_clocklock, which ThreadSanitizer does not follow, so it would
// take every Cancel with a time-out for the unlock of a mutex never taken.
class CTimedLock {
public:
    explicit CTimedLock(bool locked) : m_locked(locked) {}
    void lock() {
        std::unique_lock g(m_mutex);
        m_cv.wait(g, [&] { return !m_locked; });
        m_locked = true;
    }
    bool try_lock() {
        std::lock_guard g(m_mutex);
        if (m_locked) return false;
        m_locked = true;
        return true;
    }
    template <class Rep, class Period>
    bool try_lock_for(std::chrono::duration<Rep, Period> timeout) {
        return try_lock_until(std::chrono::steady_clock::now() + timeout);
    }
    template <class Clock, class Duration>
    bool try_lock_until(std::chrono::time_point<Clock, Duration> deadline) {
        std::unique_lock g(m_mutex);
        if (!m_cv.wait_until(g, deadline, [&] { return !m_locked; })) return false;
        m_locked = true;
        return true;
    }
    void unlock() {
        {
            std::lock_guard g(m_mutex);
            m_locked = false;
        }
        m_cv.notify_one();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_locked;
};

// Shared by the actions of a chain: one cancel stops all of them.
class CAsyncActionCancellation : public CAddReleaseRef {
public:
    CAsyncActionCancellation() = default;
    // Held from construction until cancellation; delayed actions sleep on it.
    CTimedLock WaitLock{true};
    std::atomic<bool> Cancelled{false};
};

class CAsyncAction : public CAddReleaseRef {
public:
    using Function = std::function<void(CRefPtr<CAsyncAction>)>;

    // Null when the dispatcher is null: the function will not run.
    static CRefPtr<CAsyncAction> Post(CRefPtr<IAsyncActionDispatcher> dispatcher, std::chrono::milliseconds delay,
                                      const Function& function,
                                      const CRefPtr<CAsyncActionCancellation>& cancellation = {});
    static CRefPtr<CAsyncAction> Post(CRefPtr<IAsyncActionDispatcher> dispatcher, const Function& function,
                                      const CRefPtr<CAsyncActionCancellation>& cancellation = {}) {
        return Post(std::move(dispatcher), std::chrono::milliseconds(0), function, cancellation);
    }

    // True if this call cancelled (and, with a time-out, the wait for a
    // running function succeeded). A null action gives false.
    static bool Cancel(CAsyncAction* action, int64_t timeoutMs);
    bool Cancel(int64_t timeoutMs) { return Cancel(this, timeoutMs); }

    CRefPtr<CAsyncActionCancellation> GetCancellation() const { return m_cancellation; }

    std::atomic<bool> Ran{false};
    // Reached its end in a way it can still notice: run, cancelled, or
    // refused by the dispatcher.
    std::atomic<bool> Finished{false};

private:
    CAsyncAction() = default;
    void RunBody();
    void DelayedWait(const CRefPtr<IAsyncActionDispatcher>& dispatcher, std::chrono::steady_clock::time_point due);

    Function m_function;
    CTimedLock RunLock{false};  // free until the function starts, held while it runs
    CRefPtr<CAsyncActionCancellation> m_cancellation;
};

// Cancels the action that a weak slot refers to, if it is still alive.
inline void CancelPending(const CWeakRefPtr<CAsyncAction>& slot) {
    if (CRefPtr<CAsyncAction> action = slot.Lock()) action->Cancel(0);
}

// The system's one thread class. Threads that have finished are reaped at the
// next start; those left at process end get a stop request and are joined.
class CThread {
public:
    static std::shared_ptr<CThread> Start(std::function<void(std::stop_token)> function);
    ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    std::atomic<bool> Finished{false};
    std::thread::id Id() const { return m_thread.get_id(); }

    // How many started threads have not been reaped yet (for tests).
    static std::size_t UnreapedCount();

private:
    CThread() = default;
    std::jthread m_thread;
};

}  // namespace qv
