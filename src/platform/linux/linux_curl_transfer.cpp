#include "platform/linux/linux_curl_transfer.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <mutex>
#include <string_view>

#include "platform/codes.h"
#include "platform/linux/linux_curl_errors.h"
#include "platform/linux/linux_http_test_route.h"

namespace qv {

namespace {

// WinHTTP's own defaults, as the model sets none: 60 s to connect, and a
// receive that gives up after 30 s without a byte. libcurl counts the name's
// resolution in the connect time-out, so no call waits without bound.
constexpr long kConnectTimeoutSeconds = 60;
constexpr long kStallSeconds = 30;
// As WinHTTP: redirects are followed, at most ten, never from HTTPS to HTTP.
constexpr long kMaxRedirects = 10;
// How long one wait for the sockets lasts before libcurl's timers are
// looked at again; libcurl shortens it when a timer is due sooner.
constexpr int kPollMilliseconds = 1000;
// The body kept unread before the transfer pauses: a fast server cannot make
// a slow reader hold the whole page.
constexpr size_t kBufferLimit = 64 * 1024;

void InitCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) {
               return std::tolower(a) == std::tolower(b);
           });
}

}  // namespace

Win32Error CCurlTransfer::Configure(const CurlRequestSettings& settings) {
    InitCurlOnce();
    m_multi.reset(curl_multi_init());
    m_easy.reset(curl_easy_init());
    if (!m_multi || !m_easy) return ERROR_NOT_ENOUGH_MEMORY;
    CURL* easy = m_easy.get();
    const char* protocol = settings.secure ? "https" : "http";
    CURLcode code = CURLE_OK;
    auto set = [&](CURLoption option, auto value) {
        if (code == CURLE_OK) code = curl_easy_setopt(easy, option, value);
    };
    set(CURLOPT_URL, settings.url.c_str());
    set(CURLOPT_PROTOCOLS_STR, protocol);
    set(CURLOPT_REDIR_PROTOCOLS_STR, settings.secure ? "https" : "http,https");
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, kMaxRedirects);
    set(CURLOPT_USERAGENT, settings.agent.c_str());
    // No proxy, as WinHttpOpen is asked for; not even one from the environment.
    set(CURLOPT_PROXY, "");
    // Timers by signal would need the process's alarm; threads do without.
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_CONNECTTIMEOUT, kConnectTimeoutSeconds);
    set(CURLOPT_LOW_SPEED_LIMIT, 1L);
    set(CURLOPT_LOW_SPEED_TIME, kStallSeconds);
    if (settings.verb == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    } else if (settings.verb != "GET") {
        set(CURLOPT_CUSTOMREQUEST, settings.verb.c_str());
    }
    set(CURLOPT_WRITEFUNCTION, &CCurlTransfer::OnBody);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    set(CURLOPT_HEADERFUNCTION, &CCurlTransfer::OnHeader);
    set(CURLOPT_HEADERDATA, static_cast<void*>(this));

    const LinuxHttpTestRoute route = GetLinuxHttpTestRoute();
    for (const std::string& entry : route.connectTo) {
        curl_slist* grown = curl_slist_append(m_connectTo.get(), entry.c_str());
        if (!grown) return ERROR_NOT_ENOUGH_MEMORY;
        (void)m_connectTo.release();
        m_connectTo.reset(grown);
    }
    if (m_connectTo) set(CURLOPT_CONNECT_TO, m_connectTo.get());
    if (!route.caFile.empty()) set(CURLOPT_CAINFO, route.caFile.c_str());
    if (code != CURLE_OK) return WinHttpErrorFromCurl(code);
    if (m_membership.Add(m_multi.get(), easy) != CURLM_OK) return ERROR_WINHTTP_INTERNAL_ERROR;
    return ERROR_SUCCESS;
}

Win32Error CCurlTransfer::SendAndWaitForHeaders(const CurlRequestSettings& settings) {
    if (Win32Error error = Configure(settings)) return error;
    if (Win32Error error = DriveUntil([this] { return m_headersDone; })) return error;
    return m_headersDone ? ERROR_SUCCESS : Failure();
}

Win32Error CCurlTransfer::WaitForData(uint32_t& available) {
    available = 0;
    if (Win32Error error = DriveUntil([this] { return Buffered() > 0; })) return error;
    // What arrived before a failure is still handed over; the failure comes
    // with the next call.
    if (Buffered() == 0) return Failure();
    available = static_cast<uint32_t>(std::min<size_t>(Buffered(), UINT32_MAX));
    return ERROR_SUCCESS;
}

Win32Error CCurlTransfer::Read(void* buffer, uint32_t size, uint32_t& read) {
    read = 0;
    if (size == 0) return ERROR_SUCCESS;
    if (Win32Error error = DriveUntil([this] { return Buffered() > 0; })) return error;
    if (Buffered() == 0) return Failure();
    const size_t count = std::min<size_t>(size, Buffered());
    std::memcpy(buffer, m_body.data() + m_bodyRead, count);
    m_bodyRead += count;
    if (m_bodyRead == m_body.size()) {
        m_body.clear();
        m_bodyRead = 0;
    }
    read = static_cast<uint32_t>(count);
    return ERROR_SUCCESS;
}

template <class Enough>
Win32Error CCurlTransfer::DriveUntil(Enough enough) {
    if (!m_easy) return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    while (!enough() && !m_done) {
        // libcurl hands the chunk it was refused again on resuming, here or
        // in the perform below.
        if (m_paused && Buffered() == 0) {
            m_paused = false;
            if (curl_easy_pause(m_easy.get(), CURLPAUSE_CONT) != CURLE_OK) return ERROR_WINHTTP_INTERNAL_ERROR;
            if (enough()) break;
        }
        int running = 0;
        if (curl_multi_perform(m_multi.get(), &running) != CURLM_OK) return ERROR_WINHTTP_INTERNAL_ERROR;
        CollectResult();
        if (enough() || m_done) break;
        if (curl_multi_poll(m_multi.get(), nullptr, 0, kPollMilliseconds, nullptr) != CURLM_OK)
            return ERROR_WINHTTP_INTERNAL_ERROR;
    }
    return ERROR_SUCCESS;
}

void CCurlTransfer::CollectResult() {
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(m_multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        m_done = true;
        m_result = message->data.result;
        if (m_result == CURLE_OK) m_headersDone = true;
    }
}

Win32Error CCurlTransfer::Failure() const { return m_done ? WinHttpErrorFromCurl(m_result) : ERROR_SUCCESS; }

size_t CCurlTransfer::OnBody(char* data, size_t size, size_t count, void* self) {
    auto* transfer = static_cast<CCurlTransfer*>(self);
    transfer->m_headersDone = true;
    if (transfer->Buffered() >= kBufferLimit) {
        transfer->m_paused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    transfer->m_body.append(data, size * count);
    return size * count;
}

// The headers of every response come here, those of redirects included:
// the final response is the first one at or above 200 that does not send
// the transfer elsewhere.
size_t CCurlTransfer::OnHeader(char* data, size_t size, size_t count, void* self) {
    auto* transfer = static_cast<CCurlTransfer*>(self);
    const std::string_view line(data, size * count);
    if (StartsWithNoCase(line, "HTTP/")) {
        transfer->m_responseRedirects = false;
    } else if (StartsWithNoCase(line, "Location:")) {
        transfer->m_responseRedirects = true;
    } else if (line == "\r\n" || line == "\n") {
        long status = 0;
        curl_easy_getinfo(transfer->m_easy.get(), CURLINFO_RESPONSE_CODE, &status);
        const bool redirect = status / 100 == 3 && transfer->m_responseRedirects;
        if (status >= 200 && !redirect) transfer->m_headersDone = true;
    }
    return size * count;
}

}  // namespace qv
