// The meta log as its outside viewer receives it: a real server on the meta
// log pipe's own name, through the machine's pipes, checks each connection's
// frame (4 bytes of length, then UTF-16LE text with its null), and what a
// flush sends in which order.
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "classify/classification.h"
#include "classify/content_classifier_log.h"
#include "core/text.h"
#include "platform/codes.h"
#include "support/main_thread_harness.h"
#include "support/pipe_test_server.h"

namespace qv {
namespace {

using test::PipeTestServer;

// One connection's line, with the frame checked on the way.
struct Frame {
    uint32_t length = 0;
    std::vector<uint8_t> payload;
    std::wstring text;
};

::testing::AssertionResult DecodeFrame(const PipeTestServer::Connection& connection, Frame& frame) {
    if (connection.size() != 2)
        return ::testing::AssertionFailure() << "a line is two writes, got " << connection.size();
    if (connection[0].size() != 4)
        return ::testing::AssertionFailure() << "length field of " << connection[0].size() << " bytes";
    const auto& l = connection[0];
    frame.length = l[0] | (l[1] << 8) | (l[2] << 16) | (uint32_t{l[3]} << 24);
    frame.payload = connection[1];
    if (frame.payload.size() != frame.length)
        return ::testing::AssertionFailure() << "length says " << frame.length << ", text has " << frame.payload.size();
    if (frame.length < 2 || frame.length % 2 != 0 || frame.payload[frame.length - 1] != 0 ||
        frame.payload[frame.length - 2] != 0)
        return ::testing::AssertionFailure() << "text does not end in a UTF-16 null";
    frame.text = Utf16LeToWide(frame.payload.data(), frame.length - 2);
    return ::testing::AssertionSuccess();
}

class MetaLogWireTest : public ::testing::Test {
protected:
    void SetUp() override { pipes = harness.platform->Pipes(); }

    // The lines of the connections so far.
    std::vector<std::wstring> Lines(const PipeTestServer& server) {
        std::vector<std::wstring> lines;
        for (const auto& connection : server.Connections()) {
            Frame frame;
            EXPECT_TRUE(DecodeFrame(connection, frame));
            lines.push_back(frame.text);
        }
        return lines;
    }

    test::MainThreadHarness harness{false};
    CRefPtr<CContentClassifierLog>& log = harness.log;
    CRefPtr<IPipes> pipes;
};

TEST_F(MetaLogWireTest, EachLineIsOneConnectionOfLengthThenUtf16TextWithItsNull) {
    PipeTestServer server(pipes, CContentClassifierLog::kPipeName);
    ASSERT_EQ(server.CreateError(), 0u);
    log->WriteLine(L"A\n");
    log->WriteLine(L"Url: %s\n", std::wstring(L"https://example.com/\u00e4"));
    log->WriteLine(L"100% sure\n");
    ASSERT_TRUE(server.WaitForConnections(3));

    auto connections = server.Connections();
    ASSERT_EQ(connections.size(), 3u);
    EXPECT_EQ(connections[0][0], (std::vector<uint8_t>{6, 0, 0, 0}));
    EXPECT_EQ(connections[0][1], (std::vector<uint8_t>{'A', 0, '\n', 0, 0, 0}));
    EXPECT_EQ(Lines(server), (std::vector<std::wstring>{L"A\n", L"Url: https://example.com/\u00e4\n", L"100% sure\n"}));
}

TEST_F(MetaLogWireTest, CharacterOutsideTheBmpTravelsAsASurrogatePair) {
    PipeTestServer server(pipes, CContentClassifierLog::kPipeName);
    ASSERT_EQ(server.CreateError(), 0u);
    const std::wstring app = Utf8ToWide("\xF0\x9F\x8E\xAC Player.exe");  // U+1F3AC
    log->WriteLine(L"App: %s (Voice)\n", app);
    ASSERT_TRUE(server.WaitForConnections(1));

    Frame frame;
    ASSERT_TRUE(DecodeFrame(server.Connections()[0], frame));
    EXPECT_EQ(frame.text, L"App: " + app + L" (Voice)\n");
    // "App: " is 5 units; then the pair D83C DF AC; 19 more characters and the null.
    ASSERT_GE(frame.payload.size(), 14u);
    EXPECT_EQ(std::vector<uint8_t>(frame.payload.begin() + 10, frame.payload.begin() + 14),
              (std::vector<uint8_t>{0x3C, 0xD8, 0xAC, 0xDF}));
    EXPECT_EQ(frame.length, (5 + 2 + 11 + 9) * 2u + 2u);
}

TEST_F(MetaLogWireTest, LineLongerThan4095CharactersIsCutThere) {
    PipeTestServer server(pipes, CContentClassifierLog::kPipeName);
    ASSERT_EQ(server.CreateError(), 0u);
    log->WriteLine(L"Media file: %s\n", std::wstring(5000, L'x'));
    ASSERT_TRUE(server.WaitForConnections(1));

    Frame frame;
    ASSERT_TRUE(DecodeFrame(server.Connections()[0], frame));
    EXPECT_EQ(frame.length, 4095u * 2 + 2);
    EXPECT_EQ(frame.text, L"Media file: " + std::wstring(4095 - 12, L'x'));
}

TEST_F(MetaLogWireTest, BusyServerIsWaitedForAndTheLineStillArrives) {
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
    std::thread lateServer([&] {
        // Well within the log's wait of 4000 ms, and long enough that the
        // log is waiting by then.
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        server.StartServing();
    });
    log->WriteLine(L"after the wait\n");
    lateServer.join();
    ASSERT_TRUE(server.WaitForConnections(2));
    EXPECT_EQ(Lines(server), (std::vector<std::wstring>{L"B", L"after the wait\n"}));
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
    EXPECT_EQ(Lines(server), all);
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
    EXPECT_EQ(Lines(server), (std::vector<std::wstring>{
                                 L"Media file: C:\\film.mkv\n",
                                 L"MODE: ____________ Movie ____________\n",
                                 L"Url: https://example.com/\n",
                                 L"MODE: ____________ Music ____________\n",
                             }));
}

}  // namespace
}  // namespace qv
