#include "platform/linux/linux_stop_wake.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstdint>
#include <vector>

namespace qv {

namespace {
constexpr int kTokenPollMs = 100;
}  // namespace

CStopWake::CStopWake() : m_fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

bool CStopWake::WaitReadable(std::initializer_list<int> fds, const std::stop_token& token) const {
    std::vector<pollfd> polled;
    for (int fd : fds) polled.push_back({fd, POLLIN, 0});
    if (m_fd) polled.push_back({m_fd.get(), POLLIN, 0});
    std::stop_callback onStop(token, [this] {
        if (!m_fd) return;
        const uint64_t one = 1;
        [[maybe_unused]] ssize_t n = ::write(m_fd.get(), &one, sizeof one);
    });
    const int timeout = m_fd ? -1 : kTokenPollMs;
    for (;;) {
        const int n = ::poll(polled.data(), polled.size(), timeout);
        if (n > 0) return true;
        if (n < 0 && errno != EINTR) return false;
        if (token.stop_requested()) return true;
    }
}

}  // namespace qv
