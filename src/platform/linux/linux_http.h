// The HTTP port on Linux, with libcurl. The session and the connection only
// keep what WinHTTP would have been told (the agent, the host and port); the
// request's transfer (linux_curl_transfer.h) does the work. The system's CA
// store is trusted; tests route a host elsewhere with
// linux_http_test_route.h.
#pragma once

#include <memory>
#include <string>

#include "core/ref.h"
#include "platform/http.h"
#include "platform/linux/linux_curl_transfer.h"

namespace qv {

class CLinuxHttpRequest : public CAddReleaseRef, public IHttpRequest {
public:
    explicit CLinuxHttpRequest(CurlRequestSettings settings) : m_settings(std::move(settings)) {}

    Win32Error WinHttpSendRequest() override;
    Win32Error WinHttpReceiveResponse() override;
    Win32Error WinHttpQueryDataAvailable(uint32_t& available) override;
    Win32Error WinHttpReadData(void* buffer, uint32_t size, uint32_t& read) override;

private:
    enum class State { Opened, Sent, Received, Failed };

    const CurlRequestSettings m_settings;
    std::unique_ptr<CCurlTransfer> m_transfer;
    State m_state = State::Opened;
};

class CLinuxHttpConnection : public CAddReleaseRef, public IHttpConnection {
public:
    CLinuxHttpConnection(std::string agent, std::wstring host, uint16_t port)
        : m_agent(std::move(agent)), m_host(std::move(host)), m_port(port) {}

    Win32Error WinHttpOpenRequest(const std::wstring& verb, const std::wstring& path, bool secure,
                                  CRefPtr<IHttpRequest>& request) override;

private:
    const std::string m_agent;
    const std::wstring m_host;
    const uint16_t m_port;
};

class CLinuxHttpSession : public CAddReleaseRef, public IHttpSession {
public:
    explicit CLinuxHttpSession(std::string agent) : m_agent(std::move(agent)) {}

    Win32Error WinHttpConnect(const std::wstring& host, uint16_t port, CRefPtr<IHttpConnection>& connection) override;

private:
    const std::string m_agent;
};

class CLinuxHttp : public CAddReleaseRef, public IHttp {
public:
    Win32Error WinHttpOpen(const std::wstring& agent, CRefPtr<IHttpSession>& session) override;
};

}  // namespace qv
