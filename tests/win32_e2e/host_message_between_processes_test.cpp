// The host message between two Windows processes over a real named pipe: the
// classifier's own sender (SendHostMessage through the Windows pipe port) in
// this test program, and the reference host, quorvane-host.exe --listen-only,
// in a second process that prints what it hears.
#ifdef _WIN32

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

#include "classify/host_message.h"
#include "core/text.h"
#include "platform/win32/win32_pipes.h"
#include "platform/win32/windows_api.h"
#include "reference_host_process.h"

namespace qv {
namespace {

using namespace std::chrono_literals;
using test::ReferenceHostProcess;

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

// One message as the host printed it.
struct Heard {
    std::string endpoint;
    std::string word;
    bool operator==(const Heard&) const = default;
};

void PrintTo(const Heard& heard, std::ostream* out) { *out << "{" << heard.endpoint << ": " << heard.word << "}"; }

// The host prints "[TIME] ENDPOINT: WORD" for each message, "(withdrawn)" for
// an empty word. Of its other lines, "listening on ..." holds no ": ", and
// "dropped a message: ..." is its complaint about a broken exchange.
std::vector<Heard> HeardMessages(const std::vector<std::string>& lines) {
    std::vector<Heard> heard;
    for (const std::string& line : lines) {
        const std::size_t time = line.find("] ");
        if (line.empty() || line[0] != '[' || time == std::string::npos) continue;
        const std::string rest = line.substr(time + 2);
        if (rest.rfind("dropped a message", 0) == 0) continue;
        const std::size_t colon = rest.rfind(": ");
        if (colon == std::string::npos) continue;
        heard.push_back({rest.substr(0, colon), rest.substr(colon + 2)});
    }
    return heard;
}

std::string Shown(const std::string& word) { return word.empty() ? "(withdrawn)" : word; }

class HostMessageBetweenProcessesTest : public ::testing::Test {
protected:
    // Starts the host on a pipe of this test's own and waits until it
    // listens. It stops by itself after `count` messages; its own limit of
    // two minutes ends it even if this program dies before it can.
    void StartHost(int count) {
        m_host = std::make_unique<ReferenceHostProcess>(std::vector<std::wstring>{
            L"--listen-only", L"--pipe", m_pipeName, L"--count", std::to_wstring(count), L"--for", L"120"});
        ASSERT_TRUE(m_host->Started()) << m_host->StartError();
        ASSERT_TRUE(m_host->WaitForLineWith("listening on", kStepLimit)) << "the host did not start listening";
    }

    // Sends as the classifier does, with no wait for the pipe: a listening
    // host always has a free instance, even right after the last message.
    void SendWhenListening(const std::string& word) {
        ASSERT_TRUE(SendWithinLimit(word)) << "the sender was still waiting for the host's answer to '" << word
                                           << "'; the host was killed to free it";
    }

    // The sender waits for the host's answer without a time-out. Should the
    // answer never come, the host is killed, which breaks the pipe and frees
    // the sender, so that the test ends with a failure rather than hangs.
    bool SendWithinLimit(const std::string& word) {
        std::mutex mutex;
        std::condition_variable changed;
        bool done = false;
        std::thread sender([&] {
            SendHostMessage(*m_pipes, WideToUtf8(m_pipeName), BuildHostMessageText(m_endpoint, word));
            std::lock_guard lock(mutex);
            done = true;
            changed.notify_all();
        });
        bool inTime;
        {
            std::unique_lock lock(mutex);
            inTime = changed.wait_for(lock, kStepLimit, [&] { return done; });
        }
        if (!inTime && m_host) m_host->Kill();
        sender.join();
        return inTime;
    }

    // The host ends by itself once it has counted its messages; they are
    // counted only when well framed and three lines long.
    void ExpectHostEndsWell() {
        const std::optional<uint32_t> code = m_host->WaitForExit(kStepLimit);
        ASSERT_TRUE(code.has_value()) << "the host did not stop after its count of messages";
        EXPECT_EQ(*code, 0u);
        m_host->Kill();  // gone already: this only collects the rest of its output
        const std::string output = m_host->Output();
        EXPECT_EQ(output.find("dropped a message"), std::string::npos);
        EXPECT_EQ(output.find("protocol version"), std::string::npos);
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
    std::unique_ptr<ReferenceHostProcess> m_host;
};

TEST_F(HostMessageBetweenProcessesTest, TheHostHearsEachWordForItsEndpointAndTheWithdrawal) {
    const std::vector<std::string> words = {"Movie", "Voice", "Game", "AnyContent", ""};
    ASSERT_NO_FATAL_FAILURE(StartHost(static_cast<int>(words.size())));
    std::vector<Heard> expected;
    for (const std::string& word : words) {
        ASSERT_NO_FATAL_FAILURE(SendWhenListening(word));
        // The answer came after the host had taken the whole message in,
        // and it prints each one as it disconnects the client.
        ASSERT_TRUE(m_host->WaitForLineWith(m_endpoint + ": " + Shown(word), kStepLimit))
            << "the host did not print '" << Shown(word) << "'";
        expected.push_back({m_endpoint, Shown(word)});
    }
    ASSERT_NO_FATAL_FAILURE(ExpectHostEndsWell());
    EXPECT_EQ(HeardMessages(m_host->Lines()), expected);
}

TEST_F(HostMessageBetweenProcessesTest, TheSenderGivesUpAtOnceWhereNobodyListens) {
    // A name that nobody ever had.
    CRefPtr<IPipeConnection> probe;
    const std::wstring unheard = L"\\\\.\\pipe\\qv-e2e-nobody-" + UniqueSuffix();
    ASSERT_EQ(m_pipes->CreateFile(unheard, probe), static_cast<Win32Error>(ERROR_FILE_NOT_FOUND));
    SendHostMessage(*m_pipes, WideToUtf8(unheard), BuildHostMessageText(m_endpoint, "Movie"));

    // The name of a host that has heard its one message and gone.
    ASSERT_NO_FATAL_FAILURE(StartHost(1));
    ASSERT_NO_FATAL_FAILURE(SendWhenListening("Movie"));
    ASSERT_NO_FATAL_FAILURE(ExpectHostEndsWell());
    ASSERT_NE(m_pipes->CreateFile(m_pipeName, probe), 0u) << "the pipe outlived its host";
    EXPECT_TRUE(SendWithinLimit("Voice"));
    EXPECT_EQ(HeardMessages(m_host->Lines()), (std::vector<Heard>{{m_endpoint, "Movie"}}));
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
    std::thread sender([&] {
        SendHostMessage(*m_pipes, WideToUtf8(m_pipeName), BuildHostMessageText(m_endpoint, "Voice"));
    });
    // The silent client goes; the host drops that exchange and answers the
    // one that waited.
    holder = nullptr;
    const bool ended = m_host->WaitForExit(kStepLimit).has_value();
    if (!ended) m_host->Kill();  // frees a sender still waiting for its answer
    sender.join();
    ASSERT_TRUE(ended) << "the host did not stop after its one message";
    EXPECT_EQ(HeardMessages(m_host->Lines()), (std::vector<Heard>{{m_endpoint, "Voice"}}));
}

}  // namespace
}  // namespace qv

#endif  // _WIN32
