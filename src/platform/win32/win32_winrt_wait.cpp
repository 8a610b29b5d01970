#include "platform/win32/win32_winrt_wait.h"

namespace qv::winrt {

CCompletionSignal::CCompletionSignal() : m_event(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

void CCompletionSignal::Set() const { ::SetEvent(m_event.get()); }

// Without a time limit: the runtime completes every operation that it has
// started, with success, an error or a cancellation.
void CCompletionSignal::Wait() const { ::WaitForSingleObject(m_event.get(), INFINITE); }

}  // namespace qv::winrt
