// The one way a classification leaves the process: a message on the host's
// pipe. One connection carries one message: the length of the text in four
// bytes (little endian), then three lines of UTF-8 — "1.0.0.0", the endpoint
// id, the word — then a write of zero bytes after a complete transfer, and
// the host's four-byte answer, which is read and not looked at.
#pragma once

#include <string>

#include "platform/ipc.h"

namespace qv {

inline constexpr const char* kHostProtocolVersion = "1.0.0.0";

// "1.0.0.0\n<endpoint id>\n<word>\n"; an empty word withdraws the classification.
std::string BuildHostMessageText(const std::string& endpointIdUtf8, const std::string& word);

// Sends one message. A pipe that cannot be opened costs that message, with
// no retry. No time-out: a host that accepts and never answers holds the
// caller.
void SendHostMessage(IPipes& pipes, const std::string& hostPipeName, const std::string& text);

}  // namespace qv
