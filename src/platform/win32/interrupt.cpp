// Ctrl-C, Ctrl-Break and the closing of the console become the quit message
// of the main loop. Windows runs a console handler on a thread of its own, so
// the handler only posts.
#include <atomic>

#include "platform/native.h"
#include "platform/win32/windows_api.h"

namespace qv {

namespace {

// The thread whose queue hears the interrupt; 0 until a loop is wired.
std::atomic<DWORD> g_interruptedThread{0};

BOOL WINAPI OnConsoleControl(DWORD event) {
    DWORD thread = g_interruptedThread.load();
    if (thread == 0) return FALSE;
    switch (event) {
        case CTRL_C_EVENT:
        case CTRL_BREAK_EVENT:
            // A refused post means the loop's thread is gone: the system's
            // own handler then ends the process.
            return ::PostThreadMessageW(thread, WM_QUIT, 0, 0) != FALSE;
        case CTRL_CLOSE_EVENT:
        case CTRL_LOGOFF_EVENT:
        case CTRL_SHUTDOWN_EVENT:
            if (!::PostThreadMessageW(thread, WM_QUIT, 0, 0)) return FALSE;
            // The system ends the process as soon as this handler returns.
            // Waiting here lets main tear down in order and return, which
            // ends the process (and this thread) itself; should it take too
            // long, the system's own deadline ends it.
            ::Sleep(INFINITE);
            return TRUE;
        default: return FALSE;
    }
}

}  // namespace

void HoldInterrupts() {
    // Nothing to hold: console events never interrupt a thread of the
    // program, they arrive on a thread that the system starts for them.
}

void PostQuitOnInterrupt(const CRefPtr<IMessageLoop>& loop) {
    if (!loop) return;
    // Set before the handler exists, so that it never sees a thread of 0
    // after an interrupt that it is meant to take.
    g_interruptedThread.store(loop->ThreadId());
    static const bool installed = ::SetConsoleCtrlHandler(OnConsoleControl, TRUE) != FALSE;
    (void)installed;
}

}  // namespace qv
