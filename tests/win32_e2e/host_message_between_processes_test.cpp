// The host message between two Windows processes over a real named pipe: the
// classifier's own sender (SendHostMessage through the Windows pipe port) in
// this test program, and the reference host, quorvane-host.exe --listen-only,
// in a second process that prints what it hears.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "classify/host_message.h"
#include "core/text.h"
#include "platform/win32/win32_pipes.h"
#include "platform/win32/windows_api.h"

namespace qv {
namespace {

using namespace std::chrono_literals;
using test::BesideTestProgram;
using test::ChildProcess;

// Generous: a cold Wine prefix takes seconds to start a process, and the CI
// machine is shared.
constexpr std::chrono::milliseconds kStepLimit = 30s;

// Of this run alone: the process id keeps parallel runs apart, the start
// time a later run that gets the same id, the count the tests of one run.
std::wstring UniqueSuffix() {
    static std::atomic<int> count{0};
    return std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(::GetTickCount64()) + L"-" +
           std::to_wstring(++count);
}

class HostMessageBetweenProcessesTest : public ::testing::Test {
protected:
    // Starts the host on a pipe of this test's own and waits until it
    // listens. It stops by itself after `count` messages; its own limit of
    // two minutes ends it even if this program dies before it can.
    void StartHost(int count) {
        m_host = std::make_unique<ChildProcess>(
            BesideTestProgram(L"quorvane-host.exe"),
            std::vector<std::wstring>{L"--listen-only", L"--pipe", m_pipeName, L"--count", std::to_wstring(count),
                                      L"--for", L"120"});
        ASSERT_TRUE(m_host->Started());
        ASSERT_TRUE(m_host->WaitForLineWith("listening on", kStepLimit)) << "the host did not start listening";
    }

    // Sends as the classifier does, with no wait for the pipe: a listening
    // host always has a free instance, even right after the last message.
    // The sender waits for the host's answer without a time-out; should it
    // never come, the host is killed, which breaks the pipe and frees the
    // sender, so that the test fails rather than hangs.
    bool Send(const std::string& word) {
        std::mutex mutex;
        std::condition_variable changed;
        bool done = false;
        std::thread sender([&] {
            SendHostMessage(*m_pipes, WideToUtf8(m_pipeName), BuildHostMessageText(m_endpoint, word));
            std::lock_guard lock(mutex);
            done = true;
            changed.notify_all();
        });
        std::unique_lock lock(mutex);
        const bool inTime = changed.wait_for(lock, kStepLimit, [&] { return done; });
        lock.unlock();
        if (!inTime && m_host) m_host->Kill();
        sender.join();
        return inTime;
    }

    // "ENDPOINT: WORD" of each "[TIME] ENDPOINT: WORD" that the host printed
    // for this test's endpoint.
    std::vector<std::string> Heard() const {
        std::vector<std::string> heard;
        for (const std::string& line : m_host->Lines())
            if (const std::size_t at = line.find("] " + m_endpoint + ": "); line[0] == '[' && at != std::string::npos)
                heard.push_back(line.substr(at + 2));
        return heard;
    }

    void TearDown() override {
        if (!m_host) return;
        m_host->Kill();
        if (HasFailure())
            std::printf("---- quorvane-host.exe on %s printed:\n%s---- end of its output\n",
                        WideToUtf8(m_pipeName).c_str(), m_host->Output().c_str());
        m_host.reset();
    }

    const std::wstring m_pipeName = L"\\\\.\\pipe\\qv-e2e-host-" + UniqueSuffix();
    // Endpoint ids travel as UTF-8: one with a letter beyond ASCII shows that
    // the bytes arrive as they were sent.
    const std::string m_endpoint = WideToUtf8(L"{0.0.0.00000000}.{e2e-K\u00fcche-" + UniqueSuffix() + L"}");
    CRefPtr<IPipes> m_pipes = MakeRef<CWin32Pipes>();
    std::unique_ptr<ChildProcess> m_host;
};

TEST_F(HostMessageBetweenProcessesTest, TheHostHearsEachWordForItsEndpointAndTheWithdrawal) {
    const std::vector<std::string> words = {"Movie", "Voice", "Game", "AnyContent", ""};
    ASSERT_NO_FATAL_FAILURE(StartHost(static_cast<int>(words.size())));
    std::vector<std::string> expected;
    for (const std::string& word : words) {
        expected.push_back(m_endpoint + ": " + (word.empty() ? "(withdrawn)" : word));
        ASSERT_TRUE(Send(word)) << "the sender still waited for the host's answer to '" << word << "'";
        // The answer came after the host had taken the whole message in,
        // and it prints each one as it disconnects the client.
        ASSERT_TRUE(m_host->WaitForLineWith(expected.back(), kStepLimit)) << "the host did not print it";
    }
    // It ends by itself once it has counted its messages, which it counts
    // only when well framed and three lines long.
    const std::optional<uint32_t> code = m_host->WaitForExit(kStepLimit);
    ASSERT_TRUE(code.has_value()) << "the host did not stop after its count of messages";
    EXPECT_EQ(*code, 0u);
    m_host->Kill();  // gone already: this only collects the rest of its output
    EXPECT_EQ(m_host->Output().find("dropped a message"), std::string::npos);
    EXPECT_EQ(m_host->Output().find("protocol version"), std::string::npos);
    EXPECT_EQ(Heard(), expected);
}

TEST_F(HostMessageBetweenProcessesTest, AMessageWhileTheHostServesAnotherClientWaitsItsTurn) {
    ASSERT_NO_FATAL_FAILURE(StartHost(1));
    // Another client takes the host and says nothing.
    CRefPtr<IPipeConnection> holder;
    ASSERT_EQ(m_pipes->CreateFile(m_pipeName, holder), 0u);
    // The sender does not wait for a busy pipe, so the host must already
    // have a free instance for the classifier's next message.
    ASSERT_EQ(m_pipes->WaitNamedPipe(m_pipeName, static_cast<uint32_t>(kStepLimit.count())), 0u)
        << "no free instance while the host serves another client";
    std::thread sender(
        [&] { SendHostMessage(*m_pipes, WideToUtf8(m_pipeName), BuildHostMessageText(m_endpoint, "Voice")); });
    // The silent client goes; the host drops that exchange and answers the
    // one that waited.
    holder = nullptr;
    const bool ended = m_host->WaitForExit(kStepLimit).has_value();
    if (!ended) m_host->Kill();  // frees a sender still waiting for its answer
    sender.join();
    ASSERT_TRUE(ended) << "the host did not stop after its one message";
    EXPECT_EQ(Heard(), (std::vector<std::string>{m_endpoint + ": Voice"}));
}

}  // namespace
}  // namespace qv
