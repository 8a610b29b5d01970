// The HTTP port on Windows: WinHTTP's synchronous calls, one to one, with
// the platform's own time-outs. A handle is closed when its object goes;
// each object keeps its parent's, so a request stays usable when the caller
// lets the connection and the session go first, and the handles close
// child first, as WinHTTP wants.
#pragma once

#include <utility>

#include "core/ref.h"
#include "platform/http.h"
#include "platform/win32/win32_internet_handle.h"

namespace qv {

class CWin32HttpSession;
class CWin32HttpConnection;

class CWin32HttpRequest : public CAddReleaseRef, public IHttpRequest {
public:
    CWin32HttpRequest(CRefPtr<CWin32HttpConnection> connection, CUniqueInternetHandle request)
        : m_connection(std::move(connection)), m_request(std::move(request)) {}

    Win32Error WinHttpSendRequest() override;
    Win32Error WinHttpReceiveResponse() override;
    Win32Error WinHttpQueryDataAvailable(uint32_t& available) override;
    Win32Error WinHttpReadData(void* buffer, uint32_t size, uint32_t& read) override;

private:
    const CRefPtr<CWin32HttpConnection> m_connection;  // declared first: it outlives the request's handle
    CUniqueInternetHandle m_request;
};

class CWin32HttpConnection : public CAddReleaseRef, public IHttpConnection {
public:
    CWin32HttpConnection(CRefPtr<CWin32HttpSession> session, CUniqueInternetHandle connection)
        : m_session(std::move(session)), m_connection(std::move(connection)) {}

    Win32Error WinHttpOpenRequest(const std::wstring& verb, const std::wstring& path, bool secure,
                                  CRefPtr<IHttpRequest>& request) override;

private:
    const CRefPtr<CWin32HttpSession> m_session;
    CUniqueInternetHandle m_connection;
};

class CWin32HttpSession : public CAddReleaseRef, public IHttpSession {
public:
    explicit CWin32HttpSession(CUniqueInternetHandle session) : m_session(std::move(session)) {}

    Win32Error WinHttpConnect(const std::wstring& host, uint16_t port, CRefPtr<IHttpConnection>& connection) override;

private:
    CUniqueInternetHandle m_session;
};

class CWin32Http : public CAddReleaseRef, public IHttp {
public:
    Win32Error WinHttpOpen(const std::wstring& agent, CRefPtr<IHttpSession>& session) override;
};

}  // namespace qv
