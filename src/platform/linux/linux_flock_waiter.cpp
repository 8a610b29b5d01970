#include "platform/linux/linux_flock_waiter.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/file.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <mutex>

namespace qv {

namespace {

// A real-time signal, which nothing else in the program uses; glibc keeps
// the ones it needs for itself below SIGRTMIN.
int InterruptSignal() { return SIGRTMIN + 5; }

void IgnoreInterrupt(int) {}

void InstallInterruptHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        struct sigaction action {};
        action.sa_handler = IgnoreInterrupt;
        sigemptyset(&action.sa_mask);
        action.sa_flags = 0;  // no SA_RESTART: the blocked flock must return
        ::sigaction(InterruptSignal(), &action, nullptr);
    });
}

}  // namespace

CFlockWaiter::CFlockWaiter(int lockFd) : m_ready(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_ready) return;
    InstallInterruptHandler();
    m_thread = std::thread([this, lockFd] { Run(lockFd); });
}

CFlockWaiter::~CFlockWaiter() { Cancel(); }

void CFlockWaiter::Run(int lockFd) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, InterruptSignal());
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    while (!m_cancel.load(std::memory_order_acquire)) {
        if (::flock(lockFd, LOCK_EX) == 0) {
            m_taken.store(true, std::memory_order_release);
            break;
        }
        if (errno != EINTR) break;
    }
    m_done.store(true, std::memory_order_release);
    const uint64_t one = 1;
    ssize_t n;
    do {
        n = ::write(m_ready.get(), &one, sizeof one);
    } while (n < 0 && errno == EINTR);
}

void CFlockWaiter::Cancel() {
    if (!m_thread.joinable()) return;
    m_cancel.store(true, std::memory_order_release);
    // The thread exists until it is joined, so signalling one that has
    // just finished is harmless.
    while (!m_done.load(std::memory_order_acquire)) {
        ::pthread_kill(m_thread.native_handle(), InterruptSignal());
        pollfd entry{m_ready.get(), POLLIN, 0};
        ::poll(&entry, 1, 5);
    }
    m_thread.join();
}

}  // namespace qv
