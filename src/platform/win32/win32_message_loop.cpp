#include "platform/win32/win32_message_loop.h"

#include <functional>

namespace qv {

CWin32MessageLoop::CWin32MessageLoop() : m_threadId(::GetCurrentThreadId()) {
    // The documented way to give a thread its queue: any peek creates it.
    MSG ignored;
    ::PeekMessageW(&ignored, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
}

CWin32MessageLoop::~CWin32MessageLoop() {
    // Functions still queued would be lost with the process anyway; when the
    // loop goes on its own thread (the thread lives on, as in a test) they
    // are freed here, since nobody else can reach them.
    FreeQueuedFunctions();
}

void CWin32MessageLoop::Close() {
    m_closed.store(true);
    FreeQueuedFunctions();
}

void CWin32MessageLoop::FreeQueuedFunctions() {
    if (::GetCurrentThreadId() != m_threadId) return;
    MSG message;
    while (::PeekMessageW(&message, nullptr, kPostedFunctionMessage, kPostedFunctionMessage, PM_REMOVE)) {
        if (message.hwnd == nullptr && message.lParam != 0)
            delete reinterpret_cast<std::function<void()>*>(message.lParam);
    }
}

bool CWin32MessageLoop::PostThreadMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    if (m_closed.load()) return false;
    return ::PostThreadMessageW(m_threadId, message, wParam, lParam) != FALSE;
}

int CWin32MessageLoop::GetMessage(LoopMessage& message) {
    MSG m{};
    BOOL result = ::GetMessageW(&m, nullptr, 0, 0);
    if (result == -1) return -1;
    m_last = m;
    message.message = m.message;
    message.wParam = m.wParam;
    message.lParam = m.lParam;
    return result == 0 ? 0 : 1;
}

void CWin32MessageLoop::DispatchPlatformMessage(const LoopMessage& message) {
    MSG m = m_last;
    if (m.message != message.message || m.wParam != message.wParam || m.lParam != message.lParam) {
        // Not the message just taken: a thread message made up by the caller.
        m = MSG{};
        m.message = message.message;
        m.wParam = message.wParam;
        m.lParam = message.lParam;
    }
    ::TranslateMessage(&m);
    ::DispatchMessageW(&m);
}

}  // namespace qv
