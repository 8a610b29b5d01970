// Named pipes on Linux: local sockets of one message per write
// (SOCK_SEQPACKET) in the abstract namespace; linux_pipe_address.h tells
// how a name maps to an address, linux_pipe_connection.h how reads and
// writes keep Windows' manners.
//
// A server is one listening socket: a pipe name has one instance here, so a
// second CreateNamedPipe of a taken name fails (ERROR_ACCESS_DENIED for a
// first instance, as Windows gives for FILE_FLAG_FIRST_PIPE_INSTANCE,
// ERROR_PIPE_BUSY otherwise). Its backlog is 0, which lets one client wait
// while another is served or before ConnectNamedPipe is called; a client
// beyond that gets ERROR_PIPE_BUSY. Without everyoneMayConnect, clients of
// other users (root aside) are dropped at once, since an abstract socket has
// no permissions of its own.
#pragma once

#include <mutex>

#include "platform/ipc.h"
#include "platform/linux/linux_pipe_address.h"
#include "platform/linux/linux_pipe_connection.h"
#include "platform/linux/linux_socket_handle.h"

namespace qv {

class CLinuxPipes : public CAddReleaseRef, public IPipes {
public:
    Win32Error CreateFile(const std::wstring& name, CRefPtr<IPipeConnection>& connection) override;
    // Waits without connecting. NMPWAIT_USE_DEFAULT_WAIT (0) waits 50 ms,
    // NMPWAIT_WAIT_FOREVER (0xFFFFFFFF) without end; ERROR_FILE_NOT_FOUND at
    // once when nobody serves the name, ERROR_SEM_TIMEOUT when the time is up.
    Win32Error WaitNamedPipe(const std::wstring& name, uint32_t timeoutMs) override;
    Win32Error CreateNamedPipe(const std::wstring& name, const PipeServerOptions& options,
                               CRefPtr<IPipeServer>& server) override;
};

class CLinuxPipeServer : public CAddReleaseRef, public IPipeServer {
public:
    CLinuxPipeServer(CUniqueFd listening, const PipeServerOptions& options);

    // Blocks in accept; another thread's Close wakes it.
    Win32Error ConnectNamedPipe(CRefPtr<IPipeConnection>& connection) override;
    Win32Error DisconnectNamedPipe() override;
    void Close() override;

private:
    ~CLinuxPipeServer() override;
    bool MayConnect(int fd) const;

    CSocketHandle m_listening;
    const PipeServerOptions m_options;
    std::mutex m_mutex;
    bool m_closed = false;                       // guarded by m_mutex
    CRefPtr<CLinuxPipeConnection> m_connection;  // the present client; guarded by m_mutex
};

}  // namespace qv
