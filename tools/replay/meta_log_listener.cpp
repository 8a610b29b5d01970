#include "meta_log_listener.h"

#include <cstdint>
#include <optional>
#include <vector>

#include "classify/content_classifier_log.h"
#include "core/text.h"
#include "host_frame.h"

namespace qv::replay {

namespace {

// A line is formatted into 4096 characters; with its null in UTF-16 no
// honest frame is longer.
constexpr uint32_t kMaxLineBytes = 2 * 4096 + 2;

// Null for a frame out of shape: what comes over a pipe is not believed.
std::optional<std::string> ReadLine(IPipeConnection& connection) {
    uint32_t size = 0;
    if (!host::ReadFrameLength(connection, size)) return std::nullopt;
    if (size < 2 || size > kMaxLineBytes || size % 2 != 0) return std::nullopt;
    std::vector<uint8_t> text(size);
    if (!host::ReadExactly(connection, text.data(), size)) return std::nullopt;
    std::string line = WideToUtf8(Utf16LeToWide(text.data(), size - 2));
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    return line;
}

}  // namespace

MetaLogListener::~MetaLogListener() {
    if (m_server) m_server->Close();
    if (m_reader.joinable()) m_reader.join();
}

bool MetaLogListener::Start(IPipes& pipes, LineFunction onLine) {
    if (pipes.CreateNamedPipe(CContentClassifierLog::kPipeName, PipeServerOptions{}, m_server) != 0 || !m_server)
        return false;
    m_onLine = std::move(onLine);
    m_reader = std::thread([this] { Listen(); });
    return true;
}

void MetaLogListener::Listen() {
    for (;;) {
        CRefPtr<IPipeConnection> connection;
        if (m_server->ConnectNamedPipe(connection) != 0 || !connection) return;
        std::optional<std::string> line = ReadLine(*connection);
        connection = nullptr;
        m_server->DisconnectNamedPipe();
        m_onLine(line ? *line : "(a broken meta log line)");
    }
}

}  // namespace qv::replay
