// Lets a stop request reach a thread that waits in poll: an eventfd that
// turns readable when the thread's stop token is asked to stop. CThread asks
// every unfinished thread to stop at the program's end and joins it, which a
// thread deaf in poll would hold up for good.
#pragma once

#include <initializer_list>
#include <stop_token>

#include "platform/linux/linux_unique_fd.h"

namespace qv {

class CStopWake {
public:
    // False, with errno, when the eventfd could not be made; the wake then
    // looks at the token between short polls instead.
    CStopWake();
    explicit operator bool() const { return static_cast<bool>(m_fd); }

    // Blocks until one of the descriptors polls readable or a stop is
    // requested; the caller tells which from their states. False if poll
    // failed. Any one thread may wait at a time.
    bool WaitReadable(std::initializer_list<int> fds, const std::stop_token& token) const;

private:
    CUniqueFd m_fd;
};

}  // namespace qv
