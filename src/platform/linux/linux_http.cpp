#include "platform/linux/linux_http.h"

#include "core/text.h"
#include "platform/codes.h"

namespace qv {

Win32Error CLinuxHttp::WinHttpOpen(const std::wstring& agent, CRefPtr<IHttpSession>& session) {
    session = MakeRef<CLinuxHttpSession>(WideToUtf8(agent));
    return ERROR_SUCCESS;
}

Win32Error CLinuxHttpSession::WinHttpConnect(const std::wstring& host, uint16_t port,
                                             CRefPtr<IHttpConnection>& connection) {
    connection = nullptr;
    if (host.empty()) return ERROR_INVALID_PARAMETER;
    connection = MakeRef<CLinuxHttpConnection>(m_agent, host, port);
    return ERROR_SUCCESS;
}

// The address is put together as WinHTTP would send it; the path is passed
// as it is, so a caller that needs escapes writes them.
Win32Error CLinuxHttpConnection::WinHttpOpenRequest(const std::wstring& verb, const std::wstring& path, bool secure,
                                                    CRefPtr<IHttpRequest>& request) {
    request = nullptr;
    CurlRequestSettings settings;
    settings.secure = secure;
    settings.agent = m_agent;
    settings.verb = verb.empty() ? "GET" : WideToUtf8(verb);
    const std::string target = path.empty() ? "/" : WideToUtf8(path);
    if (target.front() != '/') return ERROR_WINHTTP_INVALID_URL;
    settings.url = (secure ? "https://" : "http://") + WideToUtf8(m_host) + ":" + std::to_string(m_port) + target;
    request = MakeRef<CLinuxHttpRequest>(std::move(settings));
    return ERROR_SUCCESS;
}

Win32Error CLinuxHttpRequest::WinHttpSendRequest() {
    if (m_state != State::Opened) return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    m_transfer = std::make_unique<CCurlTransfer>();
    Win32Error error = m_transfer->SendAndWaitForHeaders(m_settings);
    m_state = error ? State::Failed : State::Sent;
    return error;
}

// The headers are in already: WinHttpSendRequest waited for them.
Win32Error CLinuxHttpRequest::WinHttpReceiveResponse() {
    if (m_state != State::Sent) return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    m_state = State::Received;
    return ERROR_SUCCESS;
}

Win32Error CLinuxHttpRequest::WinHttpQueryDataAvailable(uint32_t& available) {
    available = 0;
    if (m_state != State::Received) return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    return m_transfer->WaitForData(available);
}

Win32Error CLinuxHttpRequest::WinHttpReadData(void* buffer, uint32_t size, uint32_t& read) {
    read = 0;
    if (m_state != State::Received) return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    if (!buffer && size > 0) return ERROR_INVALID_PARAMETER;
    return m_transfer->Read(buffer, size, read);
}

}  // namespace qv
