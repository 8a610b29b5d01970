#include "classifier_pipe_client.h"

#include <algorithm>

#include "core/text.h"
#include "native_messaging_frame.h"
#include "platform/codes.h"
#include "web/native_host_pipe_name.h"

namespace qv::peltak {

namespace {

// A busy slot has a classifier that is serving another browser's host at
// the moment; it is worth a short wait before the next slot.
constexpr uint32_t kBusyWaitMs = 1000;
constexpr int kBusyAttempts = 3;
// Bodies go in pieces: a pipe carries a message of this size on every
// platform, and the classifier reads the body in a loop.
constexpr uint32_t kBodyPiece = 64 * 1024;

std::string ErrorText(Win32Error error) { return "error " + std::to_string(error); }

void PutUint32(uint8_t* field, uint32_t value) {
    for (int i = 0; i < 4; ++i) field[i] = static_cast<uint8_t>(value >> (8 * i));
}

// One field as one write: the pipe keeps it one message.
Win32Error WriteField(IPipeConnection& connection, const void* data, uint32_t size) {
    uint32_t written = 0;
    const Win32Error error = connection.WriteFile(data, size, written);
    if (error != ERROR_SUCCESS) return error;
    return written == size ? ERROR_SUCCESS : ERROR_NO_DATA;
}

Win32Error WriteNumber(IPipeConnection& connection, uint32_t value) {
    uint8_t field[4];
    PutUint32(field, value);
    return WriteField(connection, field, sizeof field);
}

// Reads size bytes, whatever messages they come in: ERROR_MORE_DATA only
// says that the message goes on. Empty messages carry nothing; a far end
// that sends nothing else is taken for broken rather than waited on forever.
Win32Error ReadExactly(IPipeConnection& connection, uint8_t* data, uint32_t size) {
    constexpr int kMaxEmptyReads = 64;
    uint32_t total = 0;
    int empty = 0;
    while (total < size) {
        uint32_t read = 0;
        const Win32Error error = connection.ReadFile(data + total, size - total, read);
        if (error != ERROR_SUCCESS && error != ERROR_MORE_DATA) return error;
        if (read == 0 && ++empty > kMaxEmptyReads) return ERROR_NO_DATA;
        total += std::min(read, size - total);
    }
    return ERROR_SUCCESS;
}

}  // namespace

std::vector<uint8_t> SourcePathField(const std::wstring& path) {
    std::vector<uint8_t> field = WideToUtf16Le(path);
    const std::size_t maxUnits = kNativeHostMaxPathBytes / 2 - 1;
    if (field.size() / 2 > maxUnits) {
        std::size_t units = maxUnits;
        const uint16_t last = static_cast<uint16_t>(field[2 * units - 2] | field[2 * units - 1] << 8);
        if (last >= 0xD800 && last <= 0xDBFF) --units;  // a high surrogate without its partner
        field.resize(2 * units);
    }
    field.push_back(0);
    field.push_back(0);
    return field;
}

ClassifierPipeClient::ClassifierPipeClient(CRefPtr<IPipes> pipes, BrowserProcess browser)
    : m_pipes(std::move(pipes)), m_browser(std::move(browser)), m_pathField(SourcePathField(m_browser.path)) {}

CRefPtr<IPipeConnection> ClassifierPipeClient::Connect(std::string& problem) {
    bool busy = false;
    for (int slot = 0; slot < kNativeHostPipeSlots; ++slot) {
        const std::wstring name = NativeHostPipeName(slot);
        for (int attempt = 0; attempt < kBusyAttempts; ++attempt) {
            CRefPtr<IPipeConnection> connection;
            const Win32Error error = m_pipes->CreateFile(name, connection);
            if (error == ERROR_SUCCESS && connection) return connection;
            if (error != ERROR_PIPE_BUSY) break;  // nobody there: the next slot
            busy = true;
            // Free or not when it returns, the slot is tried again.
            m_pipes->WaitNamedPipe(name, kBusyWaitMs);
        }
    }
    problem = busy ? "every classifier that was found stayed busy" : "no classifier is running";
    return nullptr;
}

ExchangeResult ClassifierPipeClient::Exchange(std::string_view body, std::string& reply, std::string& problem) {
    reply.clear();
    const CRefPtr<IPipeConnection> connection = Connect(problem);
    if (!connection) return ExchangeResult::NoClassifier;

    const auto failed = [&](const char* step, Win32Error error) {
        problem = std::string("the classifier's pipe broke off while ") + step + " (" + ErrorText(error) + ")";
        return ExchangeResult::Failed;
    };
    Win32Error error = WriteNumber(*connection, m_browser.processId);
    if (error == ERROR_SUCCESS) error = WriteNumber(*connection, static_cast<uint32_t>(m_pathField.size()));
    if (error == ERROR_SUCCESS)
        error = WriteField(*connection, m_pathField.data(), static_cast<uint32_t>(m_pathField.size()));
    if (error == ERROR_SUCCESS) error = WriteNumber(*connection, static_cast<uint32_t>(body.size()));
    for (std::size_t offset = 0; error == ERROR_SUCCESS && offset < body.size(); offset += kBodyPiece) {
        const auto piece = static_cast<uint32_t>(std::min<std::size_t>(kBodyPiece, body.size() - offset));
        error = WriteField(*connection, body.data() + offset, piece);
    }
    if (error != ERROR_SUCCESS) return failed("sending the request", error);

    uint8_t sizeField[4] = {};
    if ((error = ReadExactly(*connection, sizeField, sizeof sizeField)) != ERROR_SUCCESS)
        return failed("receiving the reply's size", error);
    const uint32_t size = static_cast<uint32_t>(sizeField[0]) | static_cast<uint32_t>(sizeField[1]) << 8 |
                          static_cast<uint32_t>(sizeField[2]) << 16 | static_cast<uint32_t>(sizeField[3]) << 24;
    // The browser would not take it, and the size may be no more than
    // garbage: the connection is dropped unread and unacknowledged, which
    // costs the classifier nothing but this reply.
    if (size > kMaxMessageToBrowser) {
        problem = "the classifier's reply of " + std::to_string(size) + " bytes is over the " +
                  std::to_string(kMaxMessageToBrowser) + " that a browser takes; it was not read";
        return ExchangeResult::ReplyTooLarge;
    }
    std::vector<uint8_t> text(size);
    if ((error = ReadExactly(*connection, text.data(), size)) != ERROR_SUCCESS)
        return failed("receiving the reply", error);
    reply.assign(text.begin(), text.end());

    // The classifier keeps the connection until it has the acknowledgement;
    // its value means nothing. The reply is whole by now, so a failure here
    // costs nothing.
    WriteNumber(*connection, 0);
    return ExchangeResult::Replied;
}

}  // namespace qv::peltak
