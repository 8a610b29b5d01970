#include "platform/thread_id.h"

#include "platform/win32/windows_api.h"

namespace qv {

uint32_t CurrentThreadId() { return ::GetCurrentThreadId(); }

}  // namespace qv
