#include "platform/win32/win32_http.h"

namespace qv {

Win32Error CWin32Http::WinHttpOpen(const std::wstring& agent, CRefPtr<IHttpSession>& session) {
    session = nullptr;
    CUniqueInternetHandle handle(
        ::WinHttpOpen(agent.c_str(), WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
    if (!handle) return ::GetLastError();
    session = MakeRef<CWin32HttpSession>(std::move(handle));
    return ERROR_SUCCESS;
}

Win32Error CWin32HttpSession::WinHttpConnect(const std::wstring& host, uint16_t port,
                                             CRefPtr<IHttpConnection>& connection) {
    connection = nullptr;
    CUniqueInternetHandle handle(::WinHttpConnect(m_session.get(), host.c_str(), port, 0));
    if (!handle) return ::GetLastError();
    connection = MakeRef<CWin32HttpConnection>(CRefPtr<CWin32HttpSession>(this), std::move(handle));
    return ERROR_SUCCESS;
}

Win32Error CWin32HttpConnection::WinHttpOpenRequest(const std::wstring& verb, const std::wstring& path, bool secure,
                                                    CRefPtr<IHttpRequest>& request) {
    request = nullptr;
    CUniqueInternetHandle handle(::WinHttpOpenRequest(m_connection.get(), verb.c_str(), path.c_str(), nullptr,
                                                      WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                                      secure ? WINHTTP_FLAG_SECURE : 0));
    if (!handle) return ::GetLastError();
    request = MakeRef<CWin32HttpRequest>(CRefPtr<CWin32HttpConnection>(this), std::move(handle));
    return ERROR_SUCCESS;
}

Win32Error CWin32HttpRequest::WinHttpSendRequest() {
    if (!::WinHttpSendRequest(m_request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0, 0, 0))
        return ::GetLastError();
    return ERROR_SUCCESS;
}

Win32Error CWin32HttpRequest::WinHttpReceiveResponse() {
    if (!::WinHttpReceiveResponse(m_request.get(), nullptr)) return ::GetLastError();
    return ERROR_SUCCESS;
}

Win32Error CWin32HttpRequest::WinHttpQueryDataAvailable(uint32_t& available) {
    DWORD count = 0;
    const BOOL ok = ::WinHttpQueryDataAvailable(m_request.get(), &count);
    available = ok ? count : 0;
    return ok ? ERROR_SUCCESS : ::GetLastError();
}

Win32Error CWin32HttpRequest::WinHttpReadData(void* buffer, uint32_t size, uint32_t& read) {
    DWORD count = 0;
    const BOOL ok = ::WinHttpReadData(m_request.get(), buffer, size, &count);
    read = ok ? count : 0;
    return ok ? ERROR_SUCCESS : ::GetLastError();
}

}  // namespace qv
