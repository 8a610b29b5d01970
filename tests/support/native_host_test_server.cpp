#include "support/native_host_test_server.h"

#include <algorithm>

#include "core/text.h"
#include "web/native_host_pipe_name.h"

namespace qv::test {

namespace {

// The port's codes, spelled out, as in pipe_test_server.cpp.
constexpr Win32Error kErrorMoreData = 234;

// A 4-byte number read with a request of exactly 4 bytes, as the classifier
// reads it: false when the read fails or the message is longer.
bool ReadNumber(IPipeConnection& connection, uint32_t& value) {
    uint8_t field[4] = {};
    uint32_t read = 0;
    const Win32Error error = connection.ReadFile(field, 4, read);
    value = field[0] | field[1] << 8 | field[2] << 16 | static_cast<uint32_t>(field[3]) << 24;
    return error == 0 && read == 4;
}

bool ReadAll(IPipeConnection& connection, std::vector<uint8_t>& data) {
    for (uint32_t total = 0, read = 0; total < data.size(); total += read) {
        const Win32Error error = connection.ReadFile(data.data() + total, uint32_t(data.size() - total), read);
        if (error != 0 && error != kErrorMoreData) return false;
    }
    return true;
}

bool WriteAll(IPipeConnection& connection, const void* data, std::size_t size) {
    // In pieces that a pipe carries as one message on every platform.
    for (std::size_t offset = 0; offset < size;) {
        uint32_t written = 0;
        const auto piece = static_cast<uint32_t>(std::min<std::size_t>(size - offset, 64 * 1024));
        if (connection.WriteFile(static_cast<const uint8_t*>(data) + offset, piece, written) != 0) return false;
        offset += written;
    }
    return true;
}

}  // namespace

NativeHostTestServer::NativeHostTestServer(CRefPtr<IPipes> pipes, int slot, ReplyFunction reply)
    : m_reply(std::move(reply)) {
    PipeServerOptions options;
    options.outBufferSize = options.inBufferSize = 100000;
    m_createError = pipes->CreateNamedPipe(NativeHostPipeName(slot), options, m_server);
    if (m_createError == 0) m_thread = std::thread([this] { Serve(); });
}

NativeHostTestServer::~NativeHostTestServer() {
    if (m_server) m_server->Close();
    if (m_thread.joinable()) m_thread.join();
}

void NativeHostTestServer::Serve() {
    for (;;) {
        CRefPtr<IPipeConnection> connection;
        if (m_server->ConnectNamedPipe(connection) != 0 || !connection) return;
        Exchange exchange;
        if (ServeOne(*connection, exchange)) {
            std::lock_guard lock(m_mutex);
            m_exchanges.push_back(std::move(exchange));
        }
        m_changed.notify_all();
        if (m_server->DisconnectNamedPipe() != 0) return;
    }
}

bool NativeHostTestServer::ServeOne(IPipeConnection& connection, Exchange& exchange) {
    uint32_t pathSize = 0, bodySize = 0;
    std::vector<uint8_t> path, body;
    if (!ReadNumber(connection, exchange.processId) || !ReadNumber(connection, pathSize)) return false;
    path.resize(std::min<uint32_t>(pathSize, 2048));
    if (!ReadAll(connection, path) || !ReadNumber(connection, bodySize)) return false;
    body.resize(bodySize);
    if (!ReadAll(connection, body)) return false;
    exchange.path = Utf16LeToWide(path.data(), path.size() >= 2 ? path.size() - 2 : 0);
    exchange.body.assign(body.begin(), body.end());

    const std::string reply = m_reply(exchange.body);
    const uint8_t size[4] = {uint8_t(reply.size()), uint8_t(reply.size() >> 8), uint8_t(reply.size() >> 16),
                             uint8_t(reply.size() >> 24)};
    std::vector<uint8_t> ack(4);
    exchange.acknowledged =
        WriteAll(connection, size, 4) && WriteAll(connection, reply.data(), reply.size()) && ReadAll(connection, ack);
    return true;
}

bool NativeHostTestServer::WaitForExchanges(std::size_t count, std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [&] { return m_exchanges.size() >= count; });
}

std::vector<NativeHostTestServer::Exchange> NativeHostTestServer::Exchanges() const {
    std::lock_guard lock(m_mutex);
    return m_exchanges;
}

}  // namespace qv::test
