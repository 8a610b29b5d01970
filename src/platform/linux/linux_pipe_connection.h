// One end of a pipe on Linux: a connected SOCK_SEQPACKET socket read with the
// manners of a Windows pipe. In message mode a message longer than the
// buffer gives what fits and ERROR_MORE_DATA, and the rest comes with the
// next reads; in byte mode the same, with success. A message of zero bytes
// reads as 0 bytes and success, a closed far end as ERROR_BROKEN_PIPE (the
// two are told apart by the credentials that come with every real message,
// SO_PASSCRED). A write is one message; a far end that has gone gives
// ERROR_NO_DATA, as a Windows pipe that is being closed does. An end
// dropped by its own side (the server's DisconnectNamedPipe or Close) gives
// ERROR_PIPE_NOT_CONNECTED.
#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/ipc.h"
#include "platform/linux/linux_socket_handle.h"

namespace qv {

class CLinuxPipeConnection : public CAddReleaseRef, public IPipeConnection {
public:
    // Takes over a connected socket and sets it up for pipe use.
    CLinuxPipeConnection(CUniqueFd fd, bool messageRead);

    Win32Error WriteFile(const void* data, uint32_t size, uint32_t& written) override;
    Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override;

    // Drops the connection from this side; wakes blocked reads and writes.
    void Disconnect() { m_socket.Close(); }

    // The largest message that a pipe promises to carry at least.
    static constexpr int kMessageBufferBytes = 1024 * 1024;

private:
    ~CLinuxPipeConnection() override = default;
    static CUniqueFd Configured(CUniqueFd fd);
    Win32Error ReceiveMessage(int fd, std::size_t& length);
    Win32Error ServePending(void* data, uint32_t size, uint32_t& read);

    CSocketHandle m_socket;
    const bool m_messageRead;
    std::mutex m_readMutex;          // one reader at a time, for the rest of a message
    std::vector<uint8_t> m_pending;  // what is left of the last message
    std::size_t m_pendingOffset = 0;
};

// Raises a socket's buffers for large messages and asks for credentials.
void ConfigurePipeSocket(int fd);

}  // namespace qv
