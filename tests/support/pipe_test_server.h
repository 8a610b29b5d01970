// A pipe server on a thread of its own, through the pipe port, standing in
// for the outside tools at the far end of the system's pipes: it takes one
// client after another and keeps what each one sent, as whole messages.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/ipc.h"

namespace qv::test {

class PipeTestServer {
public:
    using Message = std::vector<uint8_t>;
    // What one client sent, message by message, until it went away.
    using Connection = std::vector<Message>;

    // Creates the pipe at once; serving starts now or with StartServing. A
    // name that another test program holds at the moment is waited for.
    PipeTestServer(CRefPtr<IPipes> pipes, std::wstring name, bool serveNow = true);
    ~PipeTestServer();
    PipeTestServer(const PipeTestServer&) = delete;
    PipeTestServer& operator=(const PipeTestServer&) = delete;

    Win32Error CreateError() const { return m_createError; }
    void StartServing();
    // Waits until that many clients have come and gone.
    bool WaitForConnections(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(10));
    // Waits until the clients so far have sent that many messages in all.
    bool WaitForMessages(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(10));
    std::vector<Connection> Connections() const;
    // Connections still open count too, with what they sent so far.
    std::vector<Message> AllMessages() const;
    // Stops serving and joins the thread.
    void Stop();

    // A name of this process's own, for tests that need no particular name.
    static std::wstring UniqueName(const std::wstring& purpose);

private:
    void Serve();

    CRefPtr<IPipeServer> m_server;
    Win32Error m_createError = 0;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_serve = false;
    std::vector<Connection> m_done;
    Connection m_current;
    std::thread m_thread;
};

// Reads one whole message, joining the pieces of ERROR_MORE_DATA. 0 or the
// error that ended it.
Win32Error ReadWholeMessage(IPipeConnection& connection, std::vector<uint8_t>& message,
                            uint32_t bufferSize = 65536);

}  // namespace qv::test
