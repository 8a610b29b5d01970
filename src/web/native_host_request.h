// The server's side of one exchange with the browser's native host, field by
// field: source process id, path size, path, body size, body; then the reply
// size and reply; then the host's 4-byte acknowledgement.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/ipc.h"

namespace qv {

// The largest body read: the browsers' own limit for a message from an
// add-on. A larger size drops the connection unread, so that a stranger on
// the pipe cannot make the process reserve gigabytes.
inline constexpr uint32_t kNativeHostMaxBodyBytes = 64u * 1024 * 1024;

struct NativeHostRequest {
    uint32_t sourceProcessId = 0;
    std::wstring sourceProcessPath;
    std::string body;
    // Why the request must not reach the model although it was read to its
    // end (a path size over the limit or odd, a body shorter than its size);
    // empty when it may.
    std::string refusal;
};

// Nothing when the connection broke before the body size had come or the
// body size is over the limit: the exchange is then dropped without a reply.
std::optional<NativeHostRequest> ReadNativeHostRequest(IPipeConnection& connection);

// The reply size, the reply (in as many writes as it takes), then the
// acknowledgement. False when a write failed.
bool WriteNativeHostReply(IPipeConnection& connection, const std::string& reply);

}  // namespace qv
