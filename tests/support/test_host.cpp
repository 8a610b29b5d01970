#include "support/test_host.h"

#include "core/text.h"
#include "host_frame.h"
#include "platform/codes.h"
#include "support/pipe_test_server.h"

namespace qv::test {

namespace {

using Clock = std::chrono::steady_clock;

struct ReadResult {
    uint32_t bytes;
    Win32Error error;
};

// What was wrong with an exchange, judged from every byte the host read and
// the result of each read; empty when it was as the host expects.
std::string JudgeFrame(const std::vector<uint8_t>& bytes, const std::vector<ReadResult>& reads, HostRecord& record) {
    if (reads.empty() || reads.front().bytes != 4 || reads.front().error != 0)
        return "the length did not come as a write of its own four bytes";
    const uint32_t length = bytes[0] | (bytes[1] << 8) | (bytes[2] << 16) | (uint32_t{bytes[3]} << 24);
    if (bytes.size() != 4 + std::size_t{length})
        return "the length says " + std::to_string(length) + " bytes, the text had " + std::to_string(bytes.size() - 4);
    if (reads.size() < 3 || reads.back().bytes != 0 || reads.back().error != 0)
        return "the text was not followed by a write of zero bytes";
    const std::string text(bytes.begin() + 4, bytes.end());
    std::optional<host::HostMessage> message = host::ParseHostMessage(text);
    if (!message) return "the text is not three lines closed by line feeds: \"" + text + "\"";
    if (text.find('\r') != std::string::npos) return "the text holds a carriage return";
    record.version = message->version;
    record.endpointId = message->endpointId;
    record.word = message->word;
    if (message->version != "1.0.0.0") return "the version line is \"" + message->version + "\"";
    return {};
}

}  // namespace

// The host's end of one exchange, seen through: it keeps what the frame reader
// reads and, at the answer, records the message before the answer goes out.
class CObservedHostConnection : public CAddReleaseRef, public IPipeConnection {
public:
    CObservedHostConnection(CRefPtr<IPipeConnection> inner, TestHost& host) : m_inner(std::move(inner)), m_host(host) {}

    Win32Error ReadFile(void* data, uint32_t size, uint32_t& read) override {
        Win32Error error = m_inner->ReadFile(data, size, read);
        m_reads.push_back({read, error});
        const auto* bytes = static_cast<const uint8_t*>(data);
        m_bytes.insert(m_bytes.end(), bytes, bytes + read);
        return error;
    }

    Win32Error WriteFile(const void* data, uint32_t size, uint32_t& written) override {
        if (!m_answered) {
            m_answered = true;
            HostRecord record;
            record.arrival = Clock::now();
            record.fault = JudgeFrame(m_bytes, m_reads, record);
            // The fake host's own timing: a host slow to answer.
            std::this_thread::sleep_for(m_host.AnswerDelay());
            // Taken before the answer exists: a client that waits for it
            // cannot be back before this moment.
            record.answered = Clock::now();
            m_host.Add(std::move(record));
        }
        return m_inner->WriteFile(data, size, written);
    }

    bool Answered() const { return m_answered; }

private:
    CRefPtr<IPipeConnection> m_inner;
    TestHost& m_host;
    std::vector<uint8_t> m_bytes;
    std::vector<ReadResult> m_reads;
    bool m_answered = false;
};

TestHost::TestHost(CRefPtr<IPipes> pipes, bool listenNow)
    : m_pipes(std::move(pipes)), m_name(WideToUtf8(PipeTestServer::UniqueName(L"host"))) {
    if (listenNow) Listen();
}

TestHost::~TestHost() { Stop(); }

void TestHost::SetAnswerDelay(std::chrono::milliseconds delay) {
    std::lock_guard lock(m_mutex);
    m_answerDelay = delay;
}

std::chrono::milliseconds TestHost::AnswerDelay() const {
    std::lock_guard lock(m_mutex);
    return m_answerDelay;
}

void TestHost::Listen() {
    if (m_listener || !m_pipes) return;
    auto listener = std::make_unique<host::CHostPipeListener>(m_pipes);
    m_createError = listener->Listen(Utf8ToWide(m_name));
    if (m_createError != 0) return;
    m_listener = std::move(listener);
    m_thread = std::thread([this] { Serve(); });
}

void TestHost::Stop() {
    if (m_listener) m_listener->Close();
    if (m_thread.joinable()) m_thread.join();
}

void TestHost::Serve() {
    for (;;) {
        CRefPtr<IPipeConnection> connection;
        if (m_listener->Accept(connection) != 0 || !connection) return;
        {
            CRefPtr<CObservedHostConnection> observed = MakeRef<CObservedHostConnection>(connection, *this);
            std::string error;
            std::optional<std::string> text = host::ReceiveHostFrame(*observed, error);
            if (!observed->Answered()) {
                HostRecord broken;
                broken.arrival = broken.answered = Clock::now();
                broken.fault = text ? "the exchange ended before the answer" : error;
                Add(std::move(broken));
            } else {
                // One connection carries one message: after the answer the
                // client only closes.
                uint8_t extra[16];
                uint32_t read = 0;
                connection->ReadFile(extra, sizeof extra, read);
                if (read > 0) {
                    std::lock_guard lock(m_mutex);
                    m_records.back().fault += "more came after the answer";
                }
            }
        }
        m_listener->Done(connection);
    }
}

void TestHost::Add(HostRecord record) {
    {
        std::lock_guard lock(m_mutex);
        m_records.push_back(std::move(record));
    }
    m_changed.notify_all();
}

std::vector<HostRecord> TestHost::Records() const {
    std::lock_guard lock(m_mutex);
    return m_records;
}

std::size_t TestHost::Count() const {
    std::lock_guard lock(m_mutex);
    return m_records.size();
}

std::vector<std::string> TestHost::Words() const {
    std::lock_guard lock(m_mutex);
    std::vector<std::string> words;
    for (const HostRecord& record : m_records) words.push_back(record.word);
    return words;
}

bool TestHost::WaitForCount(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [&] { return m_records.size() >= count; });
}

}  // namespace qv::test
