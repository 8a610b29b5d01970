// The pipe port of the machine's platform (Linux sockets, Windows named
// pipes), client against server in one process, as the system's pipes are
// used: message boundaries, long messages in pieces, the empty message,
// missing servers, and ending a server from another thread. A busy pipe and
// the wait for it are the meta log's tests (tests/classify).
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/native.h"
#include "support/pipe_test_server.h"
#include "support/wine_detect.h"

namespace qv {
namespace {

using test::PipeTestServer;
using test::ReadWholeMessage;
using Bytes = std::vector<uint8_t>;

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

Bytes Pattern(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    return bytes;
}

Win32Error Write(IPipeConnection& connection, const Bytes& bytes) {
    uint32_t written = 0;
    Win32Error error = connection.WriteFile(bytes.data(), static_cast<uint32_t>(bytes.size()), written);
    if (error == 0 && written != bytes.size()) return ERROR_INVALID_PARAMETER;
    return error;
}

// A client on Windows reads in byte mode (CreateFileW does not change that),
// so a long message may come in several successful reads: gather them.
Win32Error ReadExactly(IPipeConnection& connection, std::size_t size, Bytes& bytes) {
    bytes.clear();
    Bytes buffer(size);
    while (bytes.size() < size) {
        uint32_t read = 0;
        Win32Error error = connection.ReadFile(buffer.data(), static_cast<uint32_t>(size - bytes.size()), read);
        bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + read);
        if (error != 0 && error != ERROR_MORE_DATA) return error;
    }
    return 0;
}

class PipesTest : public ::testing::Test {
protected:
    void SetUp() override {
        pipes = CreateNativePlatform()->Pipes();
        ASSERT_TRUE(pipes);
        name = PipeTestServer::UniqueName(L"pipes");
    }

    CRefPtr<IPipeServer> CreateServer(PipeServerOptions options = {}) {
        CRefPtr<IPipeServer> created;
        EXPECT_EQ(pipes->CreateNamedPipe(name, options, created), 0u);
        return created;
    }

    CRefPtr<IPipeConnection> Connect() {
        CRefPtr<IPipeConnection> connection;
        EXPECT_EQ(pipes->CreateFile(name, connection), 0u);
        return connection;
    }

    // A server, a client, and the server's end of that client.
    void ConnectPair(PipeServerOptions options = {}) {
        server = CreateServer(options);
        client = Connect();
        ASSERT_TRUE(server && client);
        ASSERT_EQ(server->ConnectNamedPipe(served), 0u);
    }

    CRefPtr<IPipes> pipes;
    std::wstring name;
    CRefPtr<IPipeServer> server;
    CRefPtr<IPipeConnection> client;
    CRefPtr<IPipeConnection> served;
};

TEST_F(PipesTest, MessagesKeepTheirBoundariesAndAnEmptyOneIsNotTheEnd) {
    ASSERT_NO_FATAL_FAILURE(ConnectPair());

    ASSERT_EQ(Write(*client, Text("one")), 0u);
    ASSERT_EQ(Write(*client, {}), 0u);
    ASSERT_EQ(Write(*client, Text("three")), 0u);
    Bytes message;
    ASSERT_EQ(ReadWholeMessage(*served, message), 0u);
    EXPECT_EQ(message, Text("one"));
    ASSERT_EQ(ReadWholeMessage(*served, message), 0u);
    EXPECT_TRUE(message.empty());
    ASSERT_EQ(ReadWholeMessage(*served, message), 0u);
    EXPECT_EQ(message, Text("three"));

    // And back: the four-byte answer that the host pipe's client waits for.
    ASSERT_EQ(Write(*served, Text("ok!!")), 0u);
    ASSERT_EQ(ReadExactly(*client, 4, message), 0u);
    EXPECT_EQ(message, Text("ok!!"));

    // The client goes: what it sent is read, then the pipe is broken.
    ASSERT_EQ(Write(*client, Text("last")), 0u);
    client.reset();
    ASSERT_EQ(ReadWholeMessage(*served, message), 0u);
    EXPECT_EQ(message, Text("last"));
    uint8_t byte;
    uint32_t read = 99;
    EXPECT_EQ(served->ReadFile(&byte, 1, read), ERROR_BROKEN_PIPE);
    EXPECT_EQ(read, 0u);
}

TEST_F(PipesTest, LongMessageComesInPiecesWithMoreDataAndTheNextOneStaysWhole) {
    ASSERT_NO_FATAL_FAILURE(ConnectPair());

    const Bytes longMessage = Pattern(10000);
    ASSERT_EQ(Write(*client, longMessage), 0u);
    ASSERT_EQ(Write(*client, Text("next")), 0u);

    Bytes buffer(4096);
    Bytes joined;
    uint32_t read = 0;
    for (Win32Error expected : {ERROR_MORE_DATA, ERROR_MORE_DATA, Win32Error{0}}) {
        EXPECT_EQ(served->ReadFile(buffer.data(), 4096, read), expected);
        EXPECT_EQ(read, expected ? 4096u : 10000u - 8192u);
        joined.insert(joined.end(), buffer.begin(), buffer.begin() + read);
    }
    EXPECT_EQ(joined, longMessage);

    EXPECT_EQ(served->ReadFile(buffer.data(), 4096, read), 0u);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + read), Text("next"));
}

TEST_F(PipesTest, MessagesOfAQuarterMebibyteCrossBothWays) {
    PipeServerOptions options;
    options.inBufferSize = options.outBufferSize = 100000;
    ASSERT_NO_FATAL_FAILURE(ConnectPair(options));

    const Bytes big = Pattern(256 * 1024);
    // Either side's write may wait for the reader, so the writes run apart.
    std::thread writer([&] {
        EXPECT_EQ(Write(*client, big), 0u);
        EXPECT_EQ(Write(*served, big), 0u);
    });
    Bytes received;
    EXPECT_EQ(ReadWholeMessage(*served, received), 0u);
    EXPECT_TRUE(received == big) << "server received " << received.size() << " bytes";
    EXPECT_EQ(ReadExactly(*client, big.size(), received), 0u);
    EXPECT_TRUE(received == big) << "client received " << received.size() << " bytes";
    writer.join();
}

TEST_F(PipesTest, ByteModeServerReadsWhatFitsWithoutMoreData) {
    PipeServerOptions options;
    options.messageMode = false;
    ASSERT_NO_FATAL_FAILURE(ConnectPair(options));
    ASSERT_EQ(Write(*client, Text("0123456789")), 0u);

    Bytes all;
    uint8_t buffer[4];
    while (all.size() < 10) {
        uint32_t read = 0;
        ASSERT_EQ(served->ReadFile(buffer, 4, read), 0u);
        ASSERT_GT(read, 0u);
        all.insert(all.end(), buffer, buffer + read);
    }
    EXPECT_EQ(all, Text("0123456789"));
}

TEST_F(PipesTest, NobodyListeningIsFileNotFoundAndThePrefixIsRecognisedInAnyCase) {
    EXPECT_EQ(pipes->CreateFile(name, client), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(client);
    EXPECT_EQ(pipes->WaitNamedPipe(name, 100), ERROR_FILE_NOT_FOUND);

    server = CreateServer();
    EXPECT_EQ(pipes->CreateFile(L"\\\\.\\PIPE\\" + name.substr(9), client), 0u);
    EXPECT_TRUE(client);
}

TEST_F(PipesTest, DisconnectedClientHearsThePipeEnd) {
    ASSERT_NO_FATAL_FAILURE(ConnectPair());
    ASSERT_EQ(server->DisconnectNamedPipe(), 0u);

    uint8_t byte = 0;
    uint32_t count = 0;
    EXPECT_NE(client->ReadFile(&byte, 1, count), 0u);
    EXPECT_NE(client->WriteFile(&byte, 1, count), 0u);
    // The server's end of that client is gone too.
    EXPECT_EQ(served->ReadFile(&byte, 1, count), ERROR_PIPE_NOT_CONNECTED);
}

TEST_F(PipesTest, CloseWakesABlockedConnectAndFreesTheName) {
    server = CreateServer();
    std::atomic<Win32Error> result{0xFFFFFFFFu};
    std::thread waiter([&] {
        CRefPtr<IPipeConnection> connection;
        result = server->ConnectNamedPipe(connection);
    });
    // Not a synchronisation: Close must work whether the waiter is already
    // blocked or not yet; the head start makes it blocked in practice.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    server->Close();
    waiter.join();
    EXPECT_EQ(result.load(), ERROR_INVALID_HANDLE);

    CRefPtr<IPipeConnection> connection;
    EXPECT_EQ(server->ConnectNamedPipe(connection), ERROR_INVALID_HANDLE);
    EXPECT_EQ(pipes->CreateFile(name, client), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(CreateServer());
}

TEST_F(PipesTest, CloseWakesAServerReadThatWaitsForItsClient) {
    ASSERT_NO_FATAL_FAILURE(ConnectPair());
    std::atomic<Win32Error> result{0};
    std::thread reader([&] {
        uint8_t buffer[16];
        uint32_t read = 0;
        result = served->ReadFile(buffer, sizeof buffer, read);
    });
    // Not a synchronisation, as above: blocked or not yet, the read must end.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    server->Close();
    reader.join();
    EXPECT_NE(result.load(), 0u);
}

TEST_F(PipesTest, FirstInstanceOfATakenNameIsRefused) {
    if (test::RunningUnderWine()) GTEST_SKIP() << "Wine ignores FILE_FLAG_FIRST_PIPE_INSTANCE";
    CRefPtr<IPipeServer> first = CreateServer();
    ASSERT_TRUE(first);
    CRefPtr<IPipeServer> second;
    EXPECT_EQ(pipes->CreateNamedPipe(name, PipeServerOptions{}, second), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(second);
    first->Close();
    EXPECT_EQ(pipes->CreateNamedPipe(name, PipeServerOptions{}, second), 0u);
}

#ifndef _WIN32
// Linux only: names map to abstract sockets whose part after the prefix
// keeps its case, and whose length is bounded by sockaddr_un.
TEST_F(PipesTest, OnLinuxTheNameKeepsItsCaseAndNamesThatCannotBeSocketsAreRefused) {
    name = PipeTestServer::UniqueName(L"Case");
    server = CreateServer();
    std::wstring otherCase = name;
    otherCase[name.find(L"Case")] = L'c';
    EXPECT_EQ(pipes->CreateFile(otherCase, client), ERROR_FILE_NOT_FOUND);

    CRefPtr<IPipeServer> refused;
    EXPECT_EQ(pipes->CreateNamedPipe(L"\\\\.\\pipe\\" + std::wstring(100, L'x'), {}, refused),
              ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(pipes->CreateFile(L"\\\\.\\pipe\\" + std::wstring(100, L'x'), client), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(pipes->CreateFile(L"plain-name", client), 123u);  // ERROR_INVALID_NAME
    EXPECT_EQ(pipes->CreateFile(L"\\\\.\\pipe\\", client), 123u);
    // sun_path holds 107 bytes of name after the zero of the abstract
    // namespace, the test program's pipe namespace ("NS:") included.
    const char* ns = std::getenv("QUORVANE_PIPE_NAMESPACE");
    const std::size_t room = 107 - (ns && *ns ? std::strlen(ns) + 1 : 0);
    name.resize(room, L'y');
    EXPECT_TRUE(CreateServer());
    name.push_back(L'y');
    CRefPtr<IPipeServer> tooLong;
    EXPECT_EQ(pipes->CreateNamedPipe(name, {}, tooLong), ERROR_FILENAME_EXCED_RANGE);
}
#endif

}  // namespace
}  // namespace qv
