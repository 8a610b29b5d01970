// A host for the tests: the owner of the host pipe, on a thread of its own,
// through the machine's pipe port. It answers every message with four bytes
// and keeps each message with the time it came. On the way it holds the
// client to the exchange the host expects: the length in a write of its own,
// the text of three lines, the closing write of zero bytes, and a wait for
// the answer before the client goes.
//
// A message is recorded before its answer is written, so once the client's
// send has returned, the host knows of the message.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host_listener.h"
#include "platform/ipc.h"

namespace qv::test {

struct HostRecord {
    std::string version;
    std::string endpointId;  // UTF-8, as it came
    std::string word;        // empty: the classification was withdrawn
    // When the text was complete, and when the answer went out.
    std::chrono::steady_clock::time_point arrival;
    std::chrono::steady_clock::time_point answered;
    // Empty when the exchange was what the host expects; else what was wrong.
    std::string fault;
};

class TestHost {
public:
    // A pipe name of this process's own. Without listenNow the name is
    // taken but nobody listens on it until Listen.
    explicit TestHost(CRefPtr<IPipes> pipes, bool listenNow = true);
    ~TestHost();
    TestHost(const TestHost&) = delete;
    TestHost& operator=(const TestHost&) = delete;

    // The value for "host-pipe-name".
    const std::string& PipeName() const { return m_name; }
    Win32Error CreateError() const { return m_createError; }
    // Holds every answer back this long, to see the client wait for it.
    void SetAnswerDelay(std::chrono::milliseconds delay);

    void Listen();
    // Stops listening and joins the thread; the records stay.
    void Stop();

    std::vector<HostRecord> Records() const;
    std::size_t Count() const;
    // The words in order; "" for a withdrawal.
    std::vector<std::string> Words() const;
    // For a client on another thread than the waiting one.
    bool WaitForCount(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(10)) const;

private:
    friend class CObservedHostConnection;
    void Serve();
    void Add(HostRecord record);
    std::chrono::milliseconds AnswerDelay() const;

    CRefPtr<IPipes> m_pipes;
    std::string m_name;
    std::unique_ptr<host::CHostPipeListener> m_listener;
    Win32Error m_createError = 0;
    std::thread m_thread;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<HostRecord> m_records;
    std::chrono::milliseconds m_answerDelay{0};
};

}  // namespace qv::test
