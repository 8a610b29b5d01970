#include "web/video_site_fetch.h"

#include <cstring>
#include <vector>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"

namespace qv {

Win32Error FetchVideoSiteText(const std::wstring& path, std::wstring& result, const std::function<bool()>& cancelled) {
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IHttp> http = platform ? platform->Http() : nullptr;
    if (!http) return ERROR_NOT_SUPPORTED;
    // Declared in opening order: the handles close in the reverse one,
    // request, connection, session, as far as they were opened.
    CRefPtr<IHttpSession> session;
    CRefPtr<IHttpConnection> connection;
    CRefPtr<IHttpRequest> request;
    // A cancel before the response is no failure of the platform's.
    if (cancelled()) return ERROR_SUCCESS;
    if (Win32Error e = http->WinHttpOpen(L"UserAgent", session)) return e;
    if (cancelled()) return ERROR_SUCCESS;
    if (Win32Error e = session->WinHttpConnect(kVideoSiteHost, 443, connection)) return e;
    if (cancelled()) return ERROR_SUCCESS;
    if (Win32Error e = connection->WinHttpOpenRequest(L"GET", path, true, request)) return e;
    if (cancelled()) return ERROR_SUCCESS;
    if (Win32Error e = request->WinHttpSendRequest()) return e;
    if (cancelled()) return ERROR_SUCCESS;
    if (Win32Error e = request->WinHttpReceiveResponse()) return e;

    Win32Error noted = ERROR_SUCCESS;
    bool stopped = false;
    std::string body;
    while (true) {
        uint32_t available = 0;
        if (Win32Error e = request->WinHttpQueryDataAvailable(available)) {
            noted = e;
            break;
        }
        stopped = cancelled();
        if (stopped && available == 0) break;
        // One more byte than asked for, zeroed: the chunk ends at its first
        // NUL whatever the read says.
        std::vector<char> buffer(static_cast<std::size_t>(available) + 1, '\0');
        uint32_t read = 0;
        if (Win32Error e = request->WinHttpReadData(buffer.data(), available, read)) noted = e;
        body.append(buffer.data(), ::strnlen(buffer.data(), available));
        if (read == 0) break;
        stopped = cancelled();
        if (stopped || available == 0) break;
    }
    if (!stopped && !body.empty()) result = Utf8ToWide(body);
    return noted;
}

}  // namespace qv
