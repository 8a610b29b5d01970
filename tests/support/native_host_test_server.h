// A stand-in for the classifier's end of the native host's pipe, on one
// slot: it reads each request field by field as the classifier does, keeps
// what came, answers with the reply that its function gives for the body,
// and waits for the acknowledgement. A request whose numbers do not come as
// messages of exactly 4 bytes is dropped unkept.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/ipc.h"

namespace qv::test {

class NativeHostTestServer {
public:
    struct Exchange {
        uint32_t processId = 0;
        std::wstring path;  // without its terminator
        std::string body;
        bool acknowledged = false;
    };
    using ReplyFunction = std::function<std::string(const std::string& body)>;

    NativeHostTestServer(CRefPtr<IPipes> pipes, int slot, ReplyFunction reply);
    ~NativeHostTestServer();
    NativeHostTestServer(const NativeHostTestServer&) = delete;
    NativeHostTestServer& operator=(const NativeHostTestServer&) = delete;

    Win32Error CreateError() const { return m_createError; }
    bool WaitForExchanges(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(30));
    std::vector<Exchange> Exchanges() const;

private:
    void Serve();
    bool ServeOne(IPipeConnection& connection, Exchange& exchange);

    CRefPtr<IPipeServer> m_server;
    Win32Error m_createError = 0;
    ReplyFunction m_reply;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Exchange> m_exchanges;
    std::thread m_thread;
};

}  // namespace qv::test
