#include "platform/linux/linux_event.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstdint>

namespace qv {

bool PollsReadable(int fd) {
    pollfd entry{fd, POLLIN, 0};
    int n;
    do {
        n = ::poll(&entry, 1, 0);
    } while (n < 0 && errno == EINTR);
    return n > 0 && (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

CRefPtr<CLinuxEvent> CLinuxEvent::Create() {
    CUniqueFd fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!fd) return nullptr;
    return MakeRef<CLinuxEvent>(std::move(fd));
}

void CLinuxEvent::SetEvent() {
    // One write is enough to keep it readable; later ones would only count up.
    if (m_set.exchange(true, std::memory_order_acq_rel)) return;
    const uint64_t one = 1;
    ssize_t n;
    do {
        n = ::write(m_fd.get(), &one, sizeof one);
    } while (n < 0 && errno == EINTR);
}

}  // namespace qv
