// One owned file descriptor, closed when the owner goes. Every descriptor
// that the ports open is made with O_CLOEXEC (or its flag of the same
// meaning), so a child started meanwhile inherits none: a lock or a pidfd
// held by a child by accident would outlive its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace qv {

class CUniqueFd {
public:
    CUniqueFd() = default;
    explicit CUniqueFd(int fd) : m_fd(fd) {}
    ~CUniqueFd() { reset(); }
    CUniqueFd(CUniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    CUniqueFd& operator=(CUniqueFd&& other) noexcept {
        if (this != &other) reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    CUniqueFd(const CUniqueFd&) = delete;
    CUniqueFd& operator=(const CUniqueFd&) = delete;

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    int release() { return std::exchange(m_fd, -1); }
    void reset(int fd = -1) {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd = -1;
};

}  // namespace qv
