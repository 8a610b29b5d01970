// SIGINT and SIGTERM become the quit message: a thread of its own waits for
// them with sigwait, so no handler runs in signal context.
#include <csignal>
#include <pthread.h>

#include <stop_token>

#include "core/async.h"
#include "platform/native.h"

namespace qv {

namespace {
sigset_t InterruptSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}
}  // namespace

void HoldInterrupts() {
    // Blocked in this thread and in every thread started after it; the
    // waiter of PostQuitOnInterrupt is the one that takes them.
    sigset_t set = InterruptSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void PostQuitOnInterrupt(const CRefPtr<IMessageLoop>& loop) {
    HoldInterrupts();
    sigset_t set = InterruptSignals();
    CRefPtr<IMessageLoop> target = loop;
    // CThread joins the waiter at the program's end; the stop request wakes
    // its sigwait with a signal of the set sent to that thread alone, where
    // it stays blocked and so is only ever taken by sigwait.
    CThread::Start([set, target](std::stop_token token) {
        std::stop_callback onStop(token, [self = pthread_self()] { pthread_kill(self, SIGTERM); });
        for (;;) {
            int signal = 0;
            if (sigwait(&set, &signal) != 0 || token.stop_requested()) return;
            target->PostThreadMessage(kQuitMessage, 0, 0);
        }
    });
}

}  // namespace qv
