#include "host_frame.h"

#include <vector>

namespace qv::host {

std::optional<HostMessage> ParseHostMessage(const std::string& text) {
    HostMessage message;
    std::string* fields[3] = {&message.version, &message.endpointId, &message.word};
    std::size_t start = 0;
    for (std::string* field : fields) {
        const std::size_t end = text.find('\n', start);
        if (end == std::string::npos) return std::nullopt;
        *field = text.substr(start, end - start);
        start = end + 1;
    }
    if (start != text.size()) return std::nullopt;
    return message;
}

bool ReadExactly(IPipeConnection& pipe, void* data, uint32_t size) {
    auto* bytes = static_cast<uint8_t*>(data);
    uint32_t got = 0;
    while (got < size) {
        uint32_t read = 0;
        Win32Error error = pipe.ReadFile(bytes + got, size - got, read);
        // More of the same message waiting is no error for a reader that
        // goes on reading.
        if (error != 0 && error != 234 /* ERROR_MORE_DATA */) return false;
        if (read == 0 && error == 0) return false;
        got += read;
    }
    return true;
}

bool ReadFrameLength(IPipeConnection& pipe, uint32_t& size) {
    uint8_t length[4];
    if (!ReadExactly(pipe, length, 4)) return false;
    size = length[0] | (length[1] << 8) | (length[2] << 16) | (uint32_t{length[3]} << 24);
    return true;
}

std::optional<std::string> ReceiveHostFrame(IPipeConnection& pipe, std::string& error) {
    uint32_t size = 0;
    if (!ReadFrameLength(pipe, size)) {
        error = "the client closed the pipe before the length";
        return std::nullopt;
    }
    if (size > kMaxHostMessageBytes) {
        error = "a length of " + std::to_string(size) + " bytes is more than any message of this protocol";
        return std::nullopt;
    }
    std::string text(size, '\0');
    if (size > 0 && !ReadExactly(pipe, text.data(), size)) {
        error = "the client closed the pipe in the middle of the text";
        return std::nullopt;
    }
    // The client ends a complete transfer with a write of zero bytes, then
    // waits for the answer.
    uint8_t closing[4];
    uint32_t read = 0;
    pipe.ReadFile(closing, sizeof closing, read);
    const uint8_t answer[4] = {0, 0, 0, 0};
    uint32_t written = 0;
    pipe.WriteFile(answer, 4, written);
    return text;
}

}  // namespace qv::host
