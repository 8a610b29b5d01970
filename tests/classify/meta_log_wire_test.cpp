// The meta log as its outside viewer receives it: a real server on the meta
// log pipe's own name, through the machine's pipes, checks each connection's
// frame, and what a flush sends in which order.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "classify/classification.h"
#include "classify/content_classifier_log.h"
#include "core/text.h"
#include "meta_log_frames.h"
#include "platform/codes.h"
#include "support/main_thread_harness.h"
#include "support/wait_until.h"

namespace qv {
namespace {

using test::MetaLogLines;
using test::PipeTestServer;

// The machine's pipes, with word of every WaitNamedPipe that has begun: a
// test can then act while someone is known to wait.
class CWaitWatchingPipes : public CAddReleaseRef, public IPipes {
public:
    explicit CWaitWatchingPipes(CRefPtr<IPipes> inner) : m_inner(std::move(inner)) {}
    Win32Error CreateFile(const std::wstring& name, CRefPtr<IPipeConnection>& connection) override {
        return m_inner->CreateFile(name, connection);
    }
    Win32Error WaitNamedPipe(const std::wstring& name, uint32_t timeoutMs) override {
        waits.fetch_add(1);
        return m_inner->WaitNamedPipe(name, timeoutMs);
    }
    Win32Error CreateNamedPipe(const std::wstring& name, const PipeServerOptions& options,
                               CRefPtr<IPipeServer>& server) override {
        return m_inner->CreateNamedPipe(name, options, server);
    }
    std::atomic<int> waits{0};

private:
    CRefPtr<IPipes> m_inner;
};

class CWaitWatchingPlatform : public CSimPlatform {
public:
    CRefPtr<IPipes> Pipes() override { return watched; }
    const CRefPtr<CWaitWatchingPipes> watched = MakeRef<CWaitWatchingPipes>(CSimPlatform::Pipes());
};

class MetaLogWireTest : public ::testing::Test {
protected:
    void SetUp() override { pipes = harness.platform->Pipes(); }

    test::MainThreadHarness harness{false};
    CRefPtr<CContentClassifierLog>& log = harness.log;
    CRefPtr<IPipes> pipes;
};

TEST_F(MetaLogWireTest, EachLineIsOneConnectionOfLengthThenUtf16TextCutAt4095Characters) {
    PipeTestServer server(pipes, CContentClassifierLog::kPipeName);
    ASSERT_EQ(server.CreateError(), 0u);
    const std::wstring app = Utf8ToWide("\xF0\x9F\x8E\xAC Player.exe");  // U+1F3AC
    log->WriteLine(L"A\n");
    log->WriteLine(L"100% sure\n");
    log->WriteLine(L"App: %s (Voice)\n", app);
    log->WriteLine(L"Media file: %s\n", std::wstring(5000, L'x'));
    ASSERT_TRUE(server.WaitForConnections(4));

    EXPECT_EQ(MetaLogLines(server), (std::vector<std::wstring>{L"A\n", L"100% sure\n", L"App: " + app + L" (Voice)\n",
                                                               L"Media file: " + std::wstring(4095 - 12, L'x')}));
    const auto connections = server.Connections();
    ASSERT_EQ(connections.size(), 4u);
    ASSERT_EQ(connections[0].size(), 2u);
    EXPECT_EQ(connections[0][0], (std::vector<uint8_t>{6, 0, 0, 0}));
    EXPECT_EQ(connections[0][1], (std::vector<uint8_t>{'A', 0, '\n', 0, 0, 0}));
    // Outside the BMP: a surrogate pair after the 5 units of "App: ".
    ASSERT_EQ(connections[2].size(), 2u);
    ASSERT_GE(connections[2][1].size(), 14u);
    EXPECT_EQ(std::vector<uint8_t>(connections[2][1].begin() + 10, connections[2][1].begin() + 14),
              (std::vector<uint8_t>{0x3C, 0xD8, 0xAC, 0xDF}));
}

TEST_F(MetaLogWireTest, BusyServerIsWaitedForAndTheLineStillArrives) {
    // A log of its own, on pipes that tell when it begins to wait.
    auto watching = MakeRef<CWaitWatchingPlatform>();
    SetPlatform(watching);
    auto waitingLog = MakeRef<CContentClassifierLog>(harness.trace);
    SetPlatform(harness.platform);

    PipeTestServer server(pipes, CContentClassifierLog::kPipeName, /*serveNow=*/false);
    ASSERT_EQ(server.CreateError(), 0u);
    // Another client takes the one instance before the server serves: the
    // log's open then finds the pipe busy and waits for it.
    {
        CRefPtr<IPipeConnection> other;
        ASSERT_EQ(pipes->CreateFile(CContentClassifierLog::kPipeName, other), 0u);
        const uint8_t frame[] = {4, 0, 0, 0, 'B', 0, 0, 0};
        uint32_t written = 0;
        ASSERT_EQ(other->WriteFile(frame, 4, written), 0u);
        ASSERT_EQ(other->WriteFile(frame + 4, 4, written), 0u);
        CRefPtr<IPipeConnection> refused;
        ASSERT_EQ(pipes->CreateFile(CContentClassifierLog::kPipeName, refused), ERROR_PIPE_BUSY);
    }
    // The server serves once the log waits, well within the log's 4000 ms.
    std::atomic<bool> sawTheWait{false};
    std::thread lateServer([&] {
        sawTheWait = test::WaitUntil([&] { return watching->watched->waits.load() > 0; });
        server.StartServing();
    });
    waitingLog->WriteLine(L"after the wait\n");
    lateServer.join();
    EXPECT_TRUE(sawTheWait.load()) << "the log never waited for the busy pipe";
    ASSERT_TRUE(server.WaitForConnections(2));
    EXPECT_EQ(MetaLogLines(server), (std::vector<std::wstring>{L"B", L"after the wait\n"}));
}

TEST_F(MetaLogWireTest, WithoutServerEveryLineReturnsAndTheRecordsCountAsWritten) {
    if (pipes->WaitNamedPipe(CContentClassifierLog::kPipeName, 0) != ERROR_FILE_NOT_FOUND)
        GTEST_SKIP() << "another program on this machine serves the meta log pipe just now";
    log->App.Set({L"Teams.exe"});
    log->Url.Set({L"https://example.com/"});
    log->Flush(CategoryVoice);
    EXPECT_TRUE(log->App.written);
    EXPECT_TRUE(log->Url.written);
    EXPECT_FALSE(log->App.IsNews());
}

TEST_F(MetaLogWireTest, FlushSendsEveryRecordThatHasSomethingInOrderThenTheMode) {
    PipeTestServer server(pipes, CContentClassifierLog::kPipeName);
    ASSERT_EQ(server.CreateError(), 0u);
    // Set in another order than the one of the flush.
    log->NetworkOutput.Set({{0.25, 0.5, 0.125}, L"Movie"});
    log->Url.Set({L"https://www.youtube.com/watch?v=x"});
    log->Category.Set({10, L"Music"});
    log->NetworkInput.Set({12.5, 44.1, 1, 16, 2});
    log->VideoSite.Set({212.0, 48.0, 2});
    log->MediaFile.Set({L"C:\\Videos\\film.mkv"});
    log->App.Set({L"Teams.exe"});
    log->Flush(CategoryMovie);
    const std::vector<std::wstring> all = {
        L"App: Teams.exe (Voice)\n",
        L"Media file: C:\\Videos\\film.mkv\n",
        L"Url: https://www.youtube.com/watch?v=x\n",
        L"Youtube: duration = 212.000000, sample rate = 48.000000, channel count = 2\n",
        L"Category: #10 (Music)\n",
        L"NN: duration = 12.500000, sample rate = 44.100000, video = 1, bit resolution = 16, channel count = 2\n",
        L"NN: [0.250000, 0.500000, 0.125000] (Movie)\n",
        L"MODE: ____________ Movie ____________\n",
    };
    ASSERT_TRUE(server.WaitForConnections(all.size()));
    EXPECT_EQ(MetaLogLines(server), all);
}

TEST_F(MetaLogWireTest, OnlyNewsStartsAFlushAndThenAllThatIsKnownGoesOut) {
    PipeTestServer server(pipes, CContentClassifierLog::kPipeName);
    ASSERT_EQ(server.CreateError(), 0u);
    log->MediaFile.Set({L"C:\\film.mkv"});
    log->Flush(CategoryMovie);
    ASSERT_TRUE(server.WaitForConnections(2));

    // Movie to Voice with the same file: the same value is no news, so not
    // even the mode goes out.
    log->MediaFile.Set({L"C:\\film.mkv"});
    log->Flush(CategoryVoice);
    // A new url after the file: its writer clears the file's record first.
    log->MediaFile.Clear();
    log->Url.Set({L"https://example.com/"});
    log->Flush(CategoryMusic);
    // Lines go out one after the other, so a stray line of the flush
    // without news would stand third.
    ASSERT_TRUE(server.WaitForConnections(4));
    EXPECT_EQ(MetaLogLines(server), (std::vector<std::wstring>{
                                        L"Media file: C:\\film.mkv\n",
                                        L"MODE: ____________ Movie ____________\n",
                                        L"Url: https://example.com/\n",
                                        L"MODE: ____________ Music ____________\n",
                                    }));
}

}  // namespace
}  // namespace qv
