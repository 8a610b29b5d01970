// The exit watcher: a thread that waits on the starter's exit token (the exit
// mutex) and on a stop event, and posts the quit message to the main loop
// when either ends the wait. The starter stops the process by releasing the
// token or by dying (an abandoned mutex ends the wait as well), so nobody has
// to send the process anything.
#pragma once

#include <atomic>
#include <thread>

#include "platform/loop.h"
#include "platform/sync.h"

namespace qv {

class CExitWatcher {
public:
    CExitWatcher() = default;
    // Stops and joins the thread if it still runs.
    ~CExitWatcher();
    CExitWatcher(const CExitWatcher&) = delete;
    CExitWatcher& operator=(const CExitWatcher&) = delete;

    // Creates the stop event and starts the thread. The watcher copies the
    // mutex handle and does not close it: the mutex's owner does. A failed
    // event is not looked at: the wait then fails at once and the watcher
    // posts the quit message straight away.
    void Start(CRefPtr<ISync> sync, CRefPtr<INamedMutex> exitMutex, CRefPtr<IMessageLoop> mainLoop);

    // Whether the thread has done its work and ended; the loop asks after each
    // message in case the quit message was overtaken. Never, without an exit
    // token: then there is neither an event nor a thread, and Stop skips them.
    bool Ended() const { return m_ended.load(); }

    // Sets the stop event and waits for the thread without a limit. It posts
    // the quit message once more as it goes; the loop is over by then and
    // nobody reads it.
    void Stop();

private:
    void Watch();

    CRefPtr<ISync> m_sync;
    CRefPtr<INamedMutex> m_exitMutex;
    CRefPtr<IEvent> m_stopEvent;
    CRefPtr<IMessageLoop> m_mainLoop;
    std::atomic<bool> m_ended{false};
    std::thread m_thread;  // last: it starts once everything it reads is set
};

}  // namespace qv
