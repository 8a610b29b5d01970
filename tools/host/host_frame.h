// The classification message as the host receives it: four bytes of length,
// then three lines of UTF-8 — protocol version, endpoint id, word. Everything
// here comes from another process and is checked before it is believed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/ipc.h"

namespace qv::host {

// No message of this protocol comes near this; a larger length is a broken
// or foreign client.
inline constexpr uint32_t kMaxHostMessageBytes = 64 * 1024;

struct HostMessage {
    std::string version;
    std::string endpointId;
    std::string word;  // empty: the classification is withdrawn
};

// Three lines, each closed by a line feed, nothing after. Null otherwise.
std::optional<HostMessage> ParseHostMessage(const std::string& text);

// Reads exactly size bytes, over as many messages or partial reads as it
// takes. False on a closed pipe or any error.
bool ReadExactly(IPipeConnection& pipe, void* data, uint32_t size);

// Reads the four bytes of little-endian length that open a frame of the
// host and meta log pipes. False on a closed pipe or any error.
bool ReadFrameLength(IPipeConnection& pipe, uint32_t& size);

// One exchange on a connected pipe: length, text, the client's closing write
// of zero bytes, then the four-byte answer. Null with a reason on a broken
// exchange.
std::optional<std::string> ReceiveHostFrame(IPipeConnection& pipe, std::string& error);

}  // namespace qv::host
