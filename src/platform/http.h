// HTTPS GETs to the video site: WinHTTP on Windows, libcurl on Linux. The
// operations are WinHTTP's, one to one; each handle closes when released.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

// A request (WinHttpOpenRequest) on a connection.
struct IHttpRequest : virtual IAddReleaseRef {
    virtual Win32Error WinHttpSendRequest() = 0;
    virtual Win32Error WinHttpReceiveResponse() = 0;
    virtual Win32Error WinHttpQueryDataAvailable(uint32_t& available) = 0;
    virtual Win32Error WinHttpReadData(void* buffer, uint32_t size, uint32_t& read) = 0;
};

// A connection to one host and port (WinHttpConnect).
struct IHttpConnection : virtual IAddReleaseRef {
    // WinHttpOpenRequest; secure is WINHTTP_FLAG_SECURE.
    virtual Win32Error WinHttpOpenRequest(const std::wstring& verb, const std::wstring& path, bool secure,
                                          CRefPtr<IHttpRequest>& request) = 0;
};

// A session (WinHttpOpen without a proxy).
struct IHttpSession : virtual IAddReleaseRef {
    virtual Win32Error WinHttpConnect(const std::wstring& host, uint16_t port, CRefPtr<IHttpConnection>& connection) = 0;
};

struct IHttp : virtual IAddReleaseRef {
    virtual Win32Error WinHttpOpen(const std::wstring& agent, CRefPtr<IHttpSession>& session) = 0;
};

}  // namespace qv
