#include "platform/linux/linux_pipe_connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/codes.h"

namespace qv {

namespace {

constexpr Win32Error kErrorNotEnoughMemory = 8;

// Closes any descriptors that a far end sent along: a peer is anyone on the
// machine, and nothing here takes descriptors.
bool HadCredentialsClosingDescriptors(msghdr& message) {
    bool credentials = false;
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c; c = CMSG_NXTHDR(&message, c)) {
        if (c->cmsg_level != SOL_SOCKET) continue;
        if (c->cmsg_type == SCM_CREDENTIALS) credentials = true;
        if (c->cmsg_type == SCM_RIGHTS) {
            const std::size_t count = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
            for (std::size_t i = 0; i < count; ++i) {
                int fd;
                std::memcpy(&fd, CMSG_DATA(c) + i * sizeof(int), sizeof fd);
                ::close(fd);
            }
        }
    }
    return credentials;
}

// The length of the next message, waiting for one. 0 with ended set when
// the far end has closed and nothing is left; -errno on failure.
ssize_t PeekLength(int fd, bool& ended) {
    ended = false;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred)) + CMSG_SPACE(16 * sizeof(int))];
    for (;;) {
        msghdr message{};
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        ssize_t n = ::recvmsg(fd, &message, MSG_PEEK | MSG_TRUNC | MSG_CMSG_CLOEXEC);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return -errno;
        // Every message carries credentials; the end of the stream carries none.
        const bool credentials = HadCredentialsClosingDescriptors(message);
        ended = n == 0 && !credentials;
        return n;
    }
}

}  // namespace

CUniqueFd CLinuxPipeConnection::Configured(CUniqueFd fd) {
    ConfigurePipeSocket(fd.get());
    return fd;
}

void ConfigurePipeSocket(int fd) {
    // The kernel caps these at its own maximum (net.core.wmem_max, twice
    // over), which by default still carries a message of 400 KiB.
    int bytes = CLinuxPipeConnection::kMessageBufferBytes;
    ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
    ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
}

CLinuxPipeConnection::CLinuxPipeConnection(CUniqueFd fd, bool messageRead)
    : m_socket(Configured(std::move(fd))), m_messageRead(messageRead) {}

Win32Error CLinuxPipeConnection::WriteFile(const void* data, uint32_t size, uint32_t& written) {
    written = 0;
    CSocketHandle::Use use(m_socket);
    if (!use) return ERROR_PIPE_NOT_CONNECTED;
    for (;;) {
        ssize_t n = ::send(use.get(), size ? data : "", size, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n >= 0) {
            written = static_cast<uint32_t>(n);
            return ERROR_SUCCESS;
        }
        const int error = errno;
        if (m_socket.Closed()) return ERROR_PIPE_NOT_CONNECTED;
        switch (error) {
            case EPIPE:
            case ECONNRESET:
            case ENOTCONN: return ERROR_NO_DATA;
            case EMSGSIZE:
            case ENOBUFS:
            case ENOMEM: return kErrorNotEnoughMemory;
            default: return ERROR_INVALID_HANDLE;
        }
    }
}

Win32Error CLinuxPipeConnection::ServePending(void* data, uint32_t size, uint32_t& read) {
    const std::size_t left = m_pending.size() - m_pendingOffset;
    const std::size_t count = std::min<std::size_t>(left, size);
    if (count) std::memcpy(data, m_pending.data() + m_pendingOffset, count);
    m_pendingOffset += count;
    read = static_cast<uint32_t>(count);
    if (m_pendingOffset < m_pending.size()) return m_messageRead ? ERROR_MORE_DATA : ERROR_SUCCESS;
    m_pending.clear();
    m_pendingOffset = 0;
    return ERROR_SUCCESS;
}

Win32Error CLinuxPipeConnection::ReadFile(void* data, uint32_t size, uint32_t& read) {
    read = 0;
    std::lock_guard lock(m_readMutex);
    if (m_pendingOffset < m_pending.size()) return ServePending(data, size, read);

    CSocketHandle::Use use(m_socket);
    if (!use) return ERROR_PIPE_NOT_CONNECTED;
    bool ended = false;
    const ssize_t length = PeekLength(use.get(), ended);
    if (m_socket.Closed()) return ERROR_PIPE_NOT_CONNECTED;
    if (length < 0) return length == -ECONNRESET ? ERROR_BROKEN_PIPE : ERROR_INVALID_HANDLE;
    if (ended) return ERROR_BROKEN_PIPE;

    // Small enough: straight into the caller's buffer. Otherwise the whole
    // message is taken now (a datagram cannot be read in parts) and handed
    // out piece by piece.
    const auto whole = static_cast<std::size_t>(length);
    uint8_t* target = nullptr;
    if (whole <= size) {
        target = static_cast<uint8_t*>(data);
    } else {
        m_pending.resize(whole);
        m_pendingOffset = 0;
        target = m_pending.data();
    }
    ssize_t n;
    do {
        // No control buffer: descriptors sent along are dropped by the kernel.
        n = ::recv(use.get(), whole ? target : nullptr, whole, MSG_DONTWAIT);
    } while (n < 0 && errno == EINTR);
    if (n < 0 || static_cast<std::size_t>(n) != whole) {
        m_pending.clear();
        return m_socket.Closed() ? ERROR_PIPE_NOT_CONNECTED : ERROR_BROKEN_PIPE;
    }
    if (whole <= size) {
        read = static_cast<uint32_t>(whole);
        return ERROR_SUCCESS;
    }
    return ServePending(data, size, read);
}

}  // namespace qv
