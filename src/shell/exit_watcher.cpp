#include "shell/exit_watcher.h"

#include <vector>

#include "shell/entry.h"

namespace qv {

CExitWatcher::~CExitWatcher() { Stop(); }

void CExitWatcher::Start(CRefPtr<ISync> sync, CRefPtr<INamedMutex> exitMutex, CRefPtr<IMessageLoop> mainLoop) {
    if (m_thread.joinable() || !sync) return;
    m_sync = std::move(sync);
    m_exitMutex = std::move(exitMutex);
    m_mainLoop = std::move(mainLoop);
    m_sync->CreateEvent(m_stopEvent);
    m_thread = std::thread([this] { Watch(); });
}

void CExitWatcher::Watch() {
    // No difference is made between the two causes: woken by the stop event
    // the loop is over already and the quit message is simply lost. A wait
    // that takes the mutex keeps it; it is abandoned when this thread ends.
    const std::vector<IWaitable*> objects{m_exitMutex.get(), m_stopEvent.get()};
    m_sync->WaitForMultipleObjects(objects, kWaitInfinite);
    if (MainThreadId() != 0) m_mainLoop->PostThreadMessage(kQuitMessage, 0, 0);
    m_ended.store(true);
}

void CExitWatcher::Stop() {
    if (!m_thread.joinable()) return;
    if (m_stopEvent) m_stopEvent->SetEvent();
    m_thread.join();
    // The mutex's owner has let go of its handle already; this reference
    // kept it open for the wait, since a handle must not close under a
    // thread that waits on it.
    m_exitMutex = nullptr;
}

}  // namespace qv
