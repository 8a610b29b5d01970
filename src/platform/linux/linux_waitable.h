// What the Linux handles are to WaitForMultipleObjects. Events and processes
// are descriptors that poll readable once they are signalled (an eventfd, a
// pidfd); a named mutex is a lock file, taken with flock (linux_named_mutex.h).
#pragma once

#include "platform/sync.h"

namespace qv {

struct ILinuxPollable : virtual IWaitable {
    // Polls readable (POLLIN) from the moment the object is signalled on.
    virtual int PollFd() const = 0;
    // The state now, without blocking.
    virtual bool IsSignalled() const = 0;
};

// Whether the descriptor polls readable now.
bool PollsReadable(int fd);

}  // namespace qv
