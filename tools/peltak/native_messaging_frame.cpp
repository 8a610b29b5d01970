#include "native_messaging_frame.h"

#include <algorithm>

namespace qv::peltak {

namespace {

// Reads until size bytes have come or the input ends: the count read.
std::size_t ReadFully(const ByteSource& source, char* data, std::size_t size) {
    std::size_t total = 0;
    while (total < size) {
        const std::size_t read = source(data + total, size - total);
        if (read == 0) break;
        total += std::min(read, size - total);
    }
    return total;
}

}  // namespace

FrameRead ReadNativeMessage(const ByteSource& source, std::string& message, std::string& problem) {
    message.clear();
    unsigned char field[kFrameLengthSize] = {};
    const std::size_t got = ReadFully(source, reinterpret_cast<char*>(field), sizeof field);
    if (got == 0) return FrameRead::End;
    if (got < sizeof field) {
        problem = "the browser's input ended inside a message length (" + std::to_string(got) + " of 4 bytes)";
        return FrameRead::Truncated;
    }
    const uint32_t length = static_cast<uint32_t>(field[0]) | static_cast<uint32_t>(field[1]) << 8 |
                            static_cast<uint32_t>(field[2]) << 16 | static_cast<uint32_t>(field[3]) << 24;
    // A browser never sends more, so such a length means the stream is not
    // what it should be; skipping up to 4 GB of it would only hope to land
    // on a frame again. The caller ends instead.
    if (length > kMaxMessageFromBrowser) {
        problem = "the browser announced a message of " + std::to_string(length) + " bytes, over the " +
                  std::to_string(kMaxMessageFromBrowser) + " that a browser sends";
        return FrameRead::TooLarge;
    }
    // The message grows as its bytes come, so that a length with nothing
    // behind it costs no 64 MB.
    constexpr std::size_t kPiece = 64 * 1024;
    std::size_t body = 0;
    while (body < length) {
        const std::size_t want = std::min<std::size_t>(kPiece, length - body);
        message.resize(body + want);
        const std::size_t read = ReadFully(source, message.data() + body, want);
        body += read;
        if (read < want) break;
    }
    if (body < length) {
        problem = "the browser's input ended inside a message (" + std::to_string(body) + " of " +
                  std::to_string(length) + " bytes)";
        message.clear();
        return FrameRead::Truncated;
    }
    return FrameRead::Message;
}

bool EncodeNativeMessage(std::string_view message, std::string& frame, std::string& problem) {
    frame.clear();
    if (message.size() > kMaxMessageToBrowser) {
        problem = "a reply of " + std::to_string(message.size()) + " bytes is over the " +
                  std::to_string(kMaxMessageToBrowser) + " that a browser takes from its host";
        return false;
    }
    const auto length = static_cast<uint32_t>(message.size());
    frame.reserve(kFrameLengthSize + message.size());
    for (int shift = 0; shift < 32; shift += 8) frame.push_back(static_cast<char>((length >> shift) & 0xFF));
    frame.append(message);
    return true;
}

}  // namespace qv::peltak
