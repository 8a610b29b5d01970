#include "platform/linux/linux_socket_handle.h"

#include <sys/socket.h>
#include <unistd.h>

namespace qv {

CSocketHandle::~CSocketHandle() {
    // No Use can outlive its handle, so nobody is inside a call here.
    if (m_fd >= 0) ::close(m_fd);
}

CSocketHandle::Use::Use(CSocketHandle& handle) : m_handle(handle), m_fd(-1) {
    std::lock_guard lock(handle.m_mutex);
    if (handle.m_closing || handle.m_fd < 0) return;
    ++handle.m_uses;
    m_fd = handle.m_fd;
}

CSocketHandle::Use::~Use() {
    if (m_fd < 0) return;
    std::lock_guard lock(m_handle.m_mutex);
    if (--m_handle.m_uses == 0 && m_handle.m_closing && m_handle.m_fd >= 0) {
        ::close(m_handle.m_fd);
        m_handle.m_fd = -1;
    }
}

void CSocketHandle::Close() {
    std::lock_guard lock(m_mutex);
    if (m_closing || m_fd < 0) return;
    m_closing = true;
    ::shutdown(m_fd, SHUT_RDWR);
    if (m_uses == 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

bool CSocketHandle::Closed() {
    std::lock_guard lock(m_mutex);
    return m_closing || m_fd < 0;
}

}  // namespace qv
