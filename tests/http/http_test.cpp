// The libcurl HTTP port, called as the model calls it, against a local
// HTTPS server that stands in for the video site with a test CA.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <memory>

#include "https_test_server.h"
#include "platform/codes.h"
#include "platform/linux/linux_http.h"
#include "platform/linux/linux_http_test_route.h"
#include "support/wait_until.h"

namespace qv {
namespace {

constexpr const char* kHost = "www.youtube.com";

struct Fetched {
    Win32Error error = ERROR_SUCCESS;
    std::string body;
    int reads = 0;
};

class LinuxHttpTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { s_server = std::make_unique<test::CHttpsTestServer>(kHost); }
    static void TearDownTestSuite() { s_server.reset(); }

    void SetUp() override {
        ASSERT_NE(s_server->Port(), 0) << "the test server (python3 and openssl) did not start";
        Route(s_server->CaFile());
    }
    void TearDown() override { SetLinuxHttpTestRoute({}); }

    static void Route(const std::string& caFile) {
        SetLinuxHttpTestRoute({{std::string(kHost) + ":443:127.0.0.1:" + std::to_string(s_server->Port())}, caFile});
    }

    // Up to the first body byte: open, connect, open the request, send, receive.
    static Win32Error Open(const std::wstring& host, const std::wstring& path, CRefPtr<IHttpRequest>& request) {
        CRefPtr<IHttpSession> session;
        CRefPtr<IHttpConnection> connection;
        if (Win32Error e = s_http->WinHttpOpen(L"UserAgent", session)) return e;
        if (Win32Error e = session->WinHttpConnect(host, 443, connection)) return e;
        if (Win32Error e = connection->WinHttpOpenRequest(L"GET", path, true, request)) return e;
        if (Win32Error e = request->WinHttpSendRequest()) return e;
        return request->WinHttpReceiveResponse();
    }

    // The model's loop: what is available, then a read of that much.
    static Fetched Fetch(const std::wstring& path, const std::wstring& host = L"www.youtube.com") {
        Fetched fetched;
        CRefPtr<IHttpRequest> request;
        if ((fetched.error = Open(host, path, request))) return fetched;
        for (;;) {
            uint32_t available = 0;
            if ((fetched.error = request->WinHttpQueryDataAvailable(available)) || available == 0) break;
            std::string chunk(available, '\0');
            uint32_t read = 0;
            if ((fetched.error = request->WinHttpReadData(chunk.data(), available, read))) break;
            fetched.body.append(chunk, 0, read);
            ++fetched.reads;
        }
        return fetched;
    }

    static inline std::unique_ptr<test::CHttpsTestServer> s_server;
    static inline CRefPtr<IHttp> s_http = MakeRef<CLinuxHttp>();
};

std::string ExpectedPage() {
    std::string page;
    char line[16];
    for (int i = 0; i < 30000; ++i) page.append(line, std::snprintf(line, sizeof line, "line %06d\n", i));
    return page;
}

TEST_F(LinuxHttpTest, BodiesArriveWholeWhateverTheStatus) {
    Fetched page = Fetch(L"/page");
    EXPECT_EQ(page.error, ERROR_SUCCESS);
    EXPECT_TRUE(page.body == ExpectedPage()) << page.body.size() << " bytes";
    EXPECT_GT(page.reads, 1);

    Fetched missing = Fetch(L"/missing");
    EXPECT_EQ(missing.error, ERROR_SUCCESS);
    EXPECT_EQ(missing.body, "no such page\n");
}

TEST_F(LinuxHttpTest, FailuresGiveWinHttpNumbers) {
    // A reset in the middle of the body (the kernel may drop the bytes
    // before it that were not read yet).
    EXPECT_EQ(Fetch(L"/reset").error, ERROR_WINHTTP_CONNECTION_ERROR);

    EXPECT_EQ(Fetch(L"/page", L"nowhere.invalid").error, ERROR_WINHTTP_NAME_NOT_RESOLVED);

    // The system's store knows nothing of the test CA.
    Route("");
    EXPECT_EQ(Fetch(L"/page").error, ERROR_WINHTTP_SECURE_FAILURE);

    // A port that is bound but not listening refuses the connection.
    CUniqueFd idle(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(idle.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::getsockname(idle.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    SetLinuxHttpTestRoute({{std::string(kHost) + ":443:127.0.0.1:" + std::to_string(ntohs(address.sin_port))}, ""});
    EXPECT_EQ(Fetch(L"/page").error, ERROR_WINHTTP_CANNOT_CONNECT);
}

// The caller stops in the middle of an endless body and lets the handles
// go: the connection closes at once (ASan's leak check covers the rest).
TEST_F(LinuxHttpTest, ReleasingMidBodyClosesTheConnection) {
    CRefPtr<IHttpRequest> request;
    ASSERT_EQ(Open(L"www.youtube.com", L"/stall", request), ERROR_SUCCESS);
    uint32_t available = 0;
    ASSERT_EQ(request->WinHttpQueryDataAvailable(available), ERROR_SUCCESS);
    EXPECT_GT(available, 0u);

    const auto before = std::chrono::steady_clock::now();
    request = nullptr;
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(1));
    EXPECT_TRUE(s_server->WaitForLine("disconnected /stall", test::kWaitBound));
}

}  // namespace
}  // namespace qv
