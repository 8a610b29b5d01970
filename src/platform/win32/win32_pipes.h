// Named pipes on Windows: CreateFileW, WaitNamedPipeW and CreateNamedPipeW
// as they are. A server's pipe is opened for overlapped I/O (as the native
// host's pipe is anyway) and each call waits for its own completion, so that
// calls still block for the caller while Close can wake a ConnectNamedPipe
// or a read that waits in another thread (CancelIoEx), which closing the
// handle alone would not do.
#pragma once

#include "platform/ipc.h"

namespace qv {

class CWin32Pipes : public CAddReleaseRef, public IPipes {
public:
    Win32Error CreateFile(const std::wstring& name, CRefPtr<IPipeConnection>& connection) override;
    Win32Error WaitNamedPipe(const std::wstring& name, uint32_t timeoutMs) override;
    // With everyoneMayConnect, the pipe's DACL grants Everyone
    // FILE_ALL_ACCESS; should that descriptor not be made, the pipe gets
    // the default one (this user and the system), rather than no pipe.
    Win32Error CreateNamedPipe(const std::wstring& name, const PipeServerOptions& options,
                               CRefPtr<IPipeServer>& server) override;
};

}  // namespace qv
