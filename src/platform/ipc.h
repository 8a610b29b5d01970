// Named pipes, client and server side. On Windows these are the system's
// named pipes; on Linux the same names map to local sockets of one message
// per write (SOCK_SEQPACKET in the abstract namespace), so that a pipe name
// means the same thing to every process on the machine.
#pragma once

#include <cstdint>
#include <string>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

// One open end of a pipe: what CreateFileW gives a client, or a server
// instance after ConnectNamedPipe. Releasing the last reference closes it
// (CloseHandle). Calls block; none of them takes a time-out.
struct IPipeConnection : virtual IAddReleaseRef {
    // WriteFile. One call is one message. 0 or an error number.
    virtual Win32Error WriteFile(const void* data, uint32_t size, uint32_t& written) = 0;
    // ReadFile. A message longer than the buffer gives what fits and
    // ERROR_MORE_DATA; the rest comes with the next read. A closed far end
    // gives ERROR_BROKEN_PIPE.
    virtual Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) = 0;
};

// The server end of one pipe name (CreateNamedPipeW with one instance).
struct IPipeServer : virtual IAddReleaseRef {
    // ConnectNamedPipe: waits for a client; the instance then reads and
    // writes through the connection it gives. 0 or an error number;
    // ERROR_INVALID_HANDLE once Close has been called.
    virtual Win32Error ConnectNamedPipe(CRefPtr<IPipeConnection>& connection) = 0;
    // DisconnectNamedPipe: drops the present client so that the instance
    // can connect the next one.
    virtual Win32Error DisconnectNamedPipe() = 0;
    // CloseHandle of the instance: wakes a waiting ConnectNamedPipe.
    virtual void Close() = 0;
};

struct PipeServerOptions {
    // FILE_FLAG_FIRST_PIPE_INSTANCE: fail if the name is taken.
    bool firstInstance = true;
    // PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE; false for a byte pipe.
    bool messageMode = true;
    uint32_t outBufferSize = 65536;
    uint32_t inBufferSize = 65536;
    // A descriptor that lets everyone connect, not only this user.
    bool everyoneMayConnect = false;
};

struct IPipes : virtual IAddReleaseRef {
    // CreateFileW for reading and writing, no sharing, OPEN_EXISTING. Names
    // have the form "\\.\pipe\NAME", the prefix in any case. 0 or an error
    // number: ERROR_FILE_NOT_FOUND when nobody listens, ERROR_PIPE_BUSY
    // when every instance is taken.
    virtual Win32Error CreateFile(const std::wstring& name, CRefPtr<IPipeConnection>& connection) = 0;
    // WaitNamedPipeW: waits until an instance of the pipe is free, at most
    // timeoutMs. 0 or an error number.
    virtual Win32Error WaitNamedPipe(const std::wstring& name, uint32_t timeoutMs) = 0;
    // CreateNamedPipeW. 0 or an error number (ERROR_ACCESS_DENIED or
    // ERROR_PIPE_BUSY when a first instance is asked for and the name is taken).
    virtual Win32Error CreateNamedPipe(const std::wstring& name, const PipeServerOptions& options,
                                       CRefPtr<IPipeServer>& server) = 0;
};

}  // namespace qv
