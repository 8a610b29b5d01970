// A socket descriptor that one thread may shut down while others are blocked
// in calls on it: Close shuts the socket down, which wakes every blocked
// call, and the descriptor is closed when the last call using it has
// returned (close_after_last_use.h tells why).
#pragma once

#include <sys/socket.h>

#include "platform/close_after_last_use.h"
#include "platform/linux/linux_unique_fd.h"

namespace qv {

class CSocketHandle : public CCloseAfterLastUse<CUniqueFd> {
public:
    using CCloseAfterLastUse::CCloseAfterLastUse;

    // Wakes every blocked call and closes the descriptor once none is left.
    void Close() {
        CCloseAfterLastUse::Close([](int fd) { ::shutdown(fd, SHUT_RDWR); });
    }
};

}  // namespace qv
