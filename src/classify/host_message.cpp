#include "classify/host_message.h"

#include <cstdint>

#include "core/text.h"

namespace qv {

std::string BuildHostMessageText(const std::string& endpointIdUtf8, const std::string& word) {
    return std::string(kHostProtocolVersion) + "\n" + endpointIdUtf8 + "\n" + word + "\n";
}

void SendHostMessage(IPipes& pipes, const std::string& hostPipeName, const std::string& text) {
    if (hostPipeName.empty()) return;
    CRefPtr<IPipeConnection> pipe;
    if (pipes.CreateFile(Utf8ToWide(hostPipeName), pipe) != 0 || !pipe) return;
    const auto size = static_cast<uint32_t>(text.size());
    const uint8_t length[4] = {static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8),
                               static_cast<uint8_t>(size >> 16), static_cast<uint8_t>(size >> 24)};
    uint32_t written = 0;
    if (pipe->WriteFile(length, 4, written) != 0) return;
    // Written until nothing is left, so that a complete transfer ends with
    // one write of zero bytes: the host waits for it.
    const char* data = text.data();
    uint32_t left = size;
    bool ok = pipe->WriteFile(data, left, written) == 0;
    while (ok && left > 0) {
        if (written > left) written = left;
        data += written;
        left -= written;
        ok = pipe->WriteFile(data, left, written) == 0;
    }
    uint8_t answer[4];
    uint32_t read = 0;
    pipe->ReadFile(answer, 4, read);
}

}  // namespace qv
