// Takes flock(LOCK_EX) on a descriptor on a thread of its own, so that a
// wait can watch a lock file alongside the descriptors it polls, and can give
// up. A blocked flock has no time-out and no descriptor to poll; giving up
// interrupts it with a signal of our own whose handler does nothing
// (installed without SA_RESTART, so flock returns EINTR), repeated until the
// thread has noticed, since a signal that lands just before the call would
// otherwise be lost.
#pragma once

#include <atomic>
#include <thread>

#include "platform/linux/linux_unique_fd.h"

namespace qv {

class CFlockWaiter {
public:
    // Starts the attempt at once. The descriptor must outlive the waiter.
    explicit CFlockWaiter(int lockFd);
    // Gives up if the attempt is still under way.
    ~CFlockWaiter();
    CFlockWaiter(const CFlockWaiter&) = delete;
    CFlockWaiter& operator=(const CFlockWaiter&) = delete;

    // False when the thread or its descriptor could not be made.
    bool Started() const { return m_thread.joinable(); }
    // Polls readable once the attempt is over, taken or failed.
    int ReadyFd() const { return m_ready.get(); }
    // Ends an attempt still under way, and waits for the thread. After it,
    // Taken() is final.
    void Cancel();
    // Whether the lock was taken; a taken lock stays with the descriptor
    // and is the caller's to keep or give back.
    bool Taken() const { return m_taken.load(std::memory_order_acquire); }

private:
    void Run(int lockFd);

    CUniqueFd m_ready;
    std::atomic<bool> m_cancel{false};
    std::atomic<bool> m_done{false};
    std::atomic<bool> m_taken{false};
    std::thread m_thread;
};

}  // namespace qv
