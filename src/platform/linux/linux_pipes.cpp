#include "platform/linux/linux_pipes.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "platform/codes.h"
#include "platform/linux/linux_pipe_listener_state.h"

namespace qv {

namespace {

constexpr Win32Error kErrorTooManyOpenFiles = 4;
constexpr Win32Error kErrorGenFailure = 31;
constexpr uint32_t kNmpWaitUseDefaultWait = 0;
constexpr uint32_t kNmpWaitForever = 0xFFFFFFFFu;
constexpr auto kDefaultWait = std::chrono::milliseconds(50);
// How often a waiting client looks again at a busy server.
constexpr auto kWaitPollInterval = std::chrono::milliseconds(5);

Win32Error ErrorFromSocketErrno(int error) {
    switch (error) {
        case EMFILE:
        case ENFILE: return kErrorTooManyOpenFiles;
        case EACCES:
        case EPERM: return ERROR_ACCESS_DENIED;
        default: return kErrorGenFailure;
    }
}

// A non-blocking connect: a full queue answers at once (EAGAIN) instead of
// waiting. No descriptor, and errno, on failure.
CUniqueFd ConnectNow(const PipeAddress& address) {
    CUniqueFd fd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd) return fd;
    int result;
    do {
        result = ::connect(fd.get(), address.get(), address.length);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        const int error = errno;
        fd.reset();
        errno = error;
    }
    return fd;
}

// Where the kernel cannot be asked: a connect that is dropped at once. The
// server then meets a client that says nothing, as on Windows when a client
// goes away before writing.
PipeListenerState ProbeByConnecting(const PipeAddress& address) {
    if (ConnectNow(address)) return PipeListenerState::Free;
    return errno == EAGAIN ? PipeListenerState::Busy : PipeListenerState::NotListening;
}

}  // namespace

Win32Error CLinuxPipes::CreateFile(const std::wstring& name, CRefPtr<IPipeConnection>& connection) {
    connection = nullptr;
    PipeAddress address;
    if (Win32Error error = PipeAddressFromName(name, address)) return error;
    CUniqueFd fd = ConnectNow(address);
    if (!fd) {
        switch (errno) {
            case ECONNREFUSED:
            case ENOENT: return ERROR_FILE_NOT_FOUND;
            case EAGAIN: return ERROR_PIPE_BUSY;
            default: return ErrorFromSocketErrno(errno);
        }
    }
    // Reads and writes block, as they do on a pipe opened without overlap.
    ::fcntl(fd.get(), F_SETFL, ::fcntl(fd.get(), F_GETFL) & ~O_NONBLOCK);
    connection = MakeRef<CLinuxPipeConnection>(std::move(fd), true);
    return ERROR_SUCCESS;
}

Win32Error CLinuxPipes::WaitNamedPipe(const std::wstring& name, uint32_t timeoutMs) {
    PipeAddress address;
    if (Win32Error error = PipeAddressFromName(name, address)) return error;
    const bool forever = timeoutMs == kNmpWaitForever;
    const auto wait = timeoutMs == kNmpWaitUseDefaultWait ? kDefaultWait : std::chrono::milliseconds(timeoutMs);
    const auto deadline = std::chrono::steady_clock::now() + wait;
    for (;;) {
        PipeListenerState state = QueryPipeListenerState(address);
        if (state == PipeListenerState::Unknown) state = ProbeByConnecting(address);
        if (state == PipeListenerState::NotListening) return ERROR_FILE_NOT_FOUND;
        if (state == PipeListenerState::Free) return ERROR_SUCCESS;
        const auto now = std::chrono::steady_clock::now();
        if (!forever && now >= deadline) return ERROR_SEM_TIMEOUT;
        std::this_thread::sleep_for(
            forever ? kWaitPollInterval
                    : std::min<std::chrono::steady_clock::duration>(kWaitPollInterval, deadline - now));
    }
}

Win32Error CLinuxPipes::CreateNamedPipe(const std::wstring& name, const PipeServerOptions& options,
                                        CRefPtr<IPipeServer>& server) {
    server = nullptr;
    PipeAddress address;
    if (Win32Error error = PipeAddressFromName(name, address)) return error;
    CUniqueFd fd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!fd) return ErrorFromSocketErrno(errno);
    if (::bind(fd.get(), address.get(), address.length) != 0) {
        if (errno == EADDRINUSE) return options.firstInstance ? ERROR_ACCESS_DENIED : ERROR_PIPE_BUSY;
        return ErrorFromSocketErrno(errno);
    }
    if (::listen(fd.get(), 0) != 0) return ErrorFromSocketErrno(errno);
    server = MakeRef<CLinuxPipeServer>(std::move(fd), options);
    return ERROR_SUCCESS;
}

CLinuxPipeServer::CLinuxPipeServer(CUniqueFd listening, const PipeServerOptions& options)
    : m_listening(std::move(listening)), m_options(options) {}

CLinuxPipeServer::~CLinuxPipeServer() { Close(); }

bool CLinuxPipeServer::MayConnect(int fd) const {
    if (m_options.everyoneMayConnect) return true;
    ucred peer{};
    socklen_t length = sizeof peer;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) return false;
    return peer.uid == ::geteuid() || peer.uid == 0;
}

Win32Error CLinuxPipeServer::ConnectNamedPipe(CRefPtr<IPipeConnection>& connection) {
    connection = nullptr;
    {
        std::lock_guard lock(m_mutex);
        if (m_closed) return ERROR_INVALID_HANDLE;
        // A client is still connected: Windows says ERROR_PIPE_CONNECTED,
        // which the ports count as success.
        if (m_connection) {
            connection = m_connection;
            return ERROR_SUCCESS;
        }
    }
    CSocketHandle::Use use(m_listening);
    if (!use) return ERROR_INVALID_HANDLE;
    for (;;) {
        CUniqueFd fd(::accept4(use.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!fd) {
            const int error = errno;
            if (m_listening.Closed()) return ERROR_INVALID_HANDLE;
            if (error == EINTR || error == ECONNABORTED) continue;
            return ErrorFromSocketErrno(error);
        }
        // A refused client's descriptor goes with the loop's turn.
        if (!MayConnect(fd.get())) continue;
        auto accepted = MakeRef<CLinuxPipeConnection>(std::move(fd), m_options.messageMode);
        std::lock_guard lock(m_mutex);
        if (m_closed) {
            accepted->Disconnect();
            return ERROR_INVALID_HANDLE;
        }
        m_connection = accepted;
        connection = accepted;
        return ERROR_SUCCESS;
    }
}

Win32Error CLinuxPipeServer::DisconnectNamedPipe() {
    CRefPtr<CLinuxPipeConnection> present;
    {
        std::lock_guard lock(m_mutex);
        if (m_closed) return ERROR_INVALID_HANDLE;
        present = std::move(m_connection);
    }
    if (present) present->Disconnect();
    return ERROR_SUCCESS;
}

void CLinuxPipeServer::Close() {
    CRefPtr<CLinuxPipeConnection> present;
    {
        std::lock_guard lock(m_mutex);
        if (m_closed) return;
        m_closed = true;
        present = std::move(m_connection);
    }
    // Frees the name at once, or as soon as a waiting accept has returned.
    m_listening.Close();
    if (present) present->Disconnect();
}

}  // namespace qv
