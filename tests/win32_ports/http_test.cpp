// The WinHTTP port's failures that need no server. A whole HTTPS exchange
// is tested on Linux against a local server with a test CA (tests/http);
// WinHTTP here trusts only the system's store, and a test under Wine cannot
// add a CA to it without touching the machine's files.
#include <gtest/gtest.h>

#include "platform/win32/win32_http.h"
#include "platform/win32/windows_api.h"

namespace qv {
namespace {

// WinHttpSendRequest of a GET, as the model opens it.
Win32Error Send(const std::wstring& host, uint16_t port, bool secure) {
    CRefPtr<IHttpSession> session;
    CRefPtr<IHttpConnection> connection;
    CRefPtr<IHttpRequest> request;
    if (Win32Error e = CWin32Http().WinHttpOpen(L"UserAgent", session)) return e;
    if (Win32Error e = session->WinHttpConnect(host, port, connection)) return e;
    if (Win32Error e = connection->WinHttpOpenRequest(L"GET", L"/", secure, request)) return e;
    // The session and the connection are let go first: the request keeps them.
    session = nullptr;
    connection = nullptr;
    return request->WinHttpSendRequest();
}

TEST(Win32Http, FailuresGiveWinHttpNumbers) {
    EXPECT_EQ(Send(L"nowhere.invalid", 443, true), static_cast<Win32Error>(ERROR_WINHTTP_NAME_NOT_RESOLVED));
    // Port 1 of the loopback: nothing listens there on a test machine.
    EXPECT_EQ(Send(L"127.0.0.1", 1, false), static_cast<Win32Error>(ERROR_WINHTTP_CANNOT_CONNECT));
}

}  // namespace
}  // namespace qv
