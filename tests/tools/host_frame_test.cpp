// What the host makes of the bytes a client sends: the three lines, and the
// frame around them over a real pipe, including clients that lie about the
// length or go away half-way.
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "host_frame.h"
#include "platform/native.h"
#include "support/pipe_test_server.h"
#include "support/wine_detect.h"

namespace qv {
namespace {

using host::ParseHostMessage;

// What a message that the host takes looks like is told through the real
// sender (tests/classify/host_message_test.cpp); here, what it refuses.
TEST(HostMessageText, AnythingButExactlyThreeClosedLinesIsRefused) {
    EXPECT_FALSE(ParseHostMessage(""));
    EXPECT_FALSE(ParseHostMessage("1\nspeakers\nMovie")) << "last line not closed";
    EXPECT_FALSE(ParseHostMessage("1\nspeakers\n")) << "two lines";
    EXPECT_FALSE(ParseHostMessage("1\nspeakers\nMovie\nextra\n")) << "four lines";
    EXPECT_FALSE(ParseHostMessage(std::string("1\nspeakers\nMovie\n\0", 18))) << "bytes after the third line";
}

// A client on its own thread writing exactly the bytes a test gives, then
// reading the answer if the host sends one.
class HostFrameTest : public ::testing::Test {
protected:
    void SetUp() override {
        pipes = CreateNativePlatform()->Pipes();
        ASSERT_TRUE(pipes);
        name = test::PipeTestServer::UniqueName(L"host-frame");
        ASSERT_EQ(pipes->CreateNamedPipe(name, {}, server), 0u);
    }

    // Runs the host side against a client that sends the given writes and
    // then waits for the answer (whether it got one lands in answered), or
    // goes away at once.
    std::optional<std::string> Exchange(const std::vector<std::string>& writes, std::string& error,
                                        bool waitForAnswer = true) {
        std::thread client([&] {
            CRefPtr<IPipeConnection> connection;
            if (pipes->CreateFile(name, connection) != 0) return;
            for (const std::string& bytes : writes) {
                uint32_t written = 0;
                connection->WriteFile(bytes.data(), static_cast<uint32_t>(bytes.size()), written);
            }
            if (!waitForAnswer) {
                // Gone only once the host holds the connection: a client that
                // leaves before it is taken is another case, and Windows
                // keeps the host waiting for the next one.
                const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
                while (!connected && std::chrono::steady_clock::now() < giveUp) std::this_thread::yield();
                return;
            }
            uint8_t answer[4];
            uint32_t read = 0;
            if (connection->ReadFile(answer, 4, read) == 0 && read == 4) answered = true;
        });
        CRefPtr<IPipeConnection> connection;
        std::optional<std::string> text;
        if (server->ConnectNamedPipe(connection) == 0) {
            connected = true;
            text = host::ReceiveHostFrame(*connection, error);
        }
        connected = false;
        connection.reset();
        // A refused client still waits for its answer and only hears the
        // end of the pipe; an answered one must read before the disconnect,
        // which drops what is unread.
        if (!text) server->DisconnectNamedPipe();
        client.join();
        if (text) server->DisconnectNamedPipe();
        return text;
    }

    static std::string Length(uint32_t n) {
        std::string bytes(4, '\0');
        for (int i = 0; i < 4; ++i) bytes[i] = static_cast<char>((n >> (8 * i)) & 0xff);
        return bytes;
    }

    CRefPtr<IPipes> pipes;
    CRefPtr<IPipeServer> server;
    std::wstring name;
    bool answered = false;
    std::atomic<bool> connected{false};
};

TEST_F(HostFrameTest, ALengthBeyondAnyMessageIsRefusedBeforeReading) {
    std::string error;
    EXPECT_FALSE(Exchange({Length(0xFFFFFFF0u), "1\nx\nMovie\n"}, error));
    EXPECT_NE(error.find("more than any message"), std::string::npos) << error;
    EXPECT_FALSE(answered);
}

TEST_F(HostFrameTest, AClientThatLeavesEarlyIsABrokenExchange) {
    // Seen in about one run of twenty: Wine's server end of a pipe whose
    // client has closed sometimes never finishes the pending read.
    if (test::RunningUnderWine()) GTEST_SKIP() << "Wine does not always end a read when the client closes";
    std::string error;
    EXPECT_FALSE(Exchange({}, error, false));
    EXPECT_NE(error.find("before the length"), std::string::npos) << error;

    error.clear();
    EXPECT_FALSE(Exchange({Length(40), "1\nspeak"}, error, false));
    EXPECT_NE(error.find("middle of the text"), std::string::npos) << error;
}

}  // namespace
}  // namespace qv
