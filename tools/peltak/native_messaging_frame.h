// The browser's native-messaging framing on standard input and output: a
// 32-bit length in the machine's own byte order (little-endian on every
// target of ours), then that many bytes of UTF-8 JSON. Pure: the bytes come
// from a source and go into a string, so the framing is tested and fuzzed
// without a browser.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace qv::peltak {

// The largest message that a browser sends to its host, and the largest
// that it takes back.
inline constexpr uint32_t kMaxMessageFromBrowser = 64u * 1024 * 1024;
inline constexpr uint32_t kMaxMessageToBrowser = 1024u * 1024;
inline constexpr std::size_t kFrameLengthSize = 4;

// Reads up to size bytes into data and gives how many came; 0 means the
// input has ended.
using ByteSource = std::function<std::size_t(void* data, std::size_t size)>;

enum class FrameRead {
    Message,    // a whole message
    End,        // the input ended between two messages: the browser let go
    Truncated,  // the input ended inside a length or a message
    TooLarge,   // the length announces more than a browser ever sends
};

// The next message of the input. Anything but Message or End leaves the
// input at an unknown place, and problem says what happened.
FrameRead ReadNativeMessage(const ByteSource& source, std::string& message, std::string& problem);

// The frame of one message to the browser. A message over
// kMaxMessageToBrowser would make the browser drop its host, so it is
// refused: false, and problem says so.
bool EncodeNativeMessage(std::string_view message, std::string& frame, std::string& problem);

}  // namespace qv::peltak
