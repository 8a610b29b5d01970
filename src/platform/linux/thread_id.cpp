#include "platform/thread_id.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace qv {

uint32_t CurrentThreadId() { return static_cast<uint32_t>(::syscall(SYS_gettid)); }

}  // namespace qv
