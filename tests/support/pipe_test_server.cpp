#include "support/pipe_test_server.h"

#include <atomic>

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

#include "support/wait_until.h"

namespace qv::test {

namespace {

// The port's codes, spelled out: this file also builds for Windows, where
// platform/codes.h must not meet <windows.h> in the same program part.
constexpr Win32Error kErrorAccessDenied = 5;
constexpr Win32Error kErrorMoreData = 234;

int ProcessId() {
#ifdef _WIN32
    return _getpid();
#else
    return static_cast<int>(::getpid());
#endif
}

}  // namespace

std::wstring PipeTestServer::UniqueName(const std::wstring& purpose) {
    static std::atomic<int> counter{0};
    return L"\\\\.\\pipe\\qv-test-" + purpose + L"-" + std::to_wstring(ProcessId()) + L"-" +
           std::to_wstring(counter.fetch_add(1));
}

Win32Error ReadWholeMessage(IPipeConnection& connection, std::vector<uint8_t>& message, uint32_t bufferSize) {
    message.clear();
    std::vector<uint8_t> buffer(bufferSize);
    for (;;) {
        uint32_t read = 0;
        Win32Error error = connection.ReadFile(buffer.data(), bufferSize, read);
        message.insert(message.end(), buffer.begin(), buffer.begin() + read);
        if (error != kErrorMoreData) return error;
    }
}

PipeTestServer::PipeTestServer(CRefPtr<IPipes> pipes, std::wstring name, bool serveNow) {
    PipeServerOptions options;
    options.messageMode = true;
    options.firstInstance = true;
    // The fixed names of the system's pipes may be held for a moment by
    // another test program on the same machine.
    WaitUntil([&] { return (m_createError = pipes->CreateNamedPipe(name, options, m_server)) != kErrorAccessDenied; },
              kWaitBound, std::chrono::milliseconds(20));
    if (m_createError != 0) return;
    m_serve = serveNow;
    m_thread = std::thread([this] { Serve(); });
}

PipeTestServer::~PipeTestServer() { Stop(); }

void PipeTestServer::StartServing() {
    {
        std::lock_guard lock(m_mutex);
        m_serve = true;
    }
    m_changed.notify_all();
}

void PipeTestServer::Stop() {
    if (m_server) m_server->Close();
    StartServing();  // a thread still waiting to begin must see the close
    if (m_thread.joinable()) m_thread.join();
}

void PipeTestServer::Serve() {
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_serve; });
    }
    for (;;) {
        CRefPtr<IPipeConnection> connection;
        if (m_server->ConnectNamedPipe(connection) != 0 || !connection) return;
        for (;;) {
            Message message;
            if (ReadWholeMessage(*connection, message) != 0) break;
            std::lock_guard lock(m_mutex);
            m_current.push_back(std::move(message));
            m_changed.notify_all();
        }
        {
            std::lock_guard lock(m_mutex);
            m_done.push_back(std::move(m_current));
            m_current.clear();
        }
        m_changed.notify_all();
        if (m_server->DisconnectNamedPipe() != 0) return;
    }
}

bool PipeTestServer::WaitForConnections(std::size_t count, std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [&] { return m_done.size() >= count; });
}

bool PipeTestServer::WaitForMessages(std::size_t count, std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [&] {
        std::size_t n = m_current.size();
        for (const auto& c : m_done) n += c.size();
        return n >= count;
    });
}

std::vector<PipeTestServer::Connection> PipeTestServer::Connections() const {
    std::lock_guard lock(m_mutex);
    return m_done;
}

std::vector<PipeTestServer::Message> PipeTestServer::AllMessages() const {
    std::lock_guard lock(m_mutex);
    std::vector<Message> all;
    for (const auto& c : m_done) all.insert(all.end(), c.begin(), c.end());
    all.insert(all.end(), m_current.begin(), m_current.end());
    return all;
}

}  // namespace qv::test
