// One HTTP transfer with libcurl, driven only from inside the calls below,
// on the caller's thread: there is no worker, so releasing the transfer at
// any point between calls simply closes its connection. Each call waits at
// most as long as libcurl's time-outs allow.
//
// The body is streamed: what has arrived is kept until it is read, and the
// transfer is driven further only when nothing is left to read; it pauses
// when much is kept unread.
#pragma once

#include <cstdint>
#include <string>

#include "platform/linux/linux_curl_handles.h"
#include "platform/types.h"

namespace qv {

struct CurlRequestSettings {
    std::string url;
    std::string verb;
    std::string agent;
    bool secure = false;
};

class CCurlTransfer {
public:
    CCurlTransfer() = default;
    CCurlTransfer(const CCurlTransfer&) = delete;
    CCurlTransfer& operator=(const CCurlTransfer&) = delete;

    // Sends the request and waits for the final response's headers (after
    // any redirects), or for the transfer to fail.
    Win32Error SendAndWaitForHeaders(const CurlRequestSettings& settings);
    // The bytes that can be read without waiting; waits for some when none
    // have arrived. 0 at the end of the body.
    Win32Error WaitForData(uint32_t& available);
    // Up to size bytes; waits for some when none have arrived. 0 at the end.
    Win32Error Read(void* buffer, uint32_t size, uint32_t& read);

private:
    Win32Error Configure(const CurlRequestSettings& settings);
    template <class Enough>
    Win32Error DriveUntil(Enough enough);
    void CollectResult();
    size_t Buffered() const { return m_body.size() - m_bodyRead; }
    Win32Error Failure() const;

    static size_t OnBody(char* data, size_t size, size_t count, void* self);
    static size_t OnHeader(char* data, size_t size, size_t count, void* self);

    // Declared so that the membership goes first and the lists last.
    CUniqueCurlList m_connectTo;
    CUniqueCurlMulti m_multi;
    CUniqueCurlEasy m_easy;
    CCurlMultiMembership m_membership;

    std::string m_body;
    size_t m_bodyRead = 0;
    bool m_responseRedirects = false;
    bool m_headersDone = false;
    bool m_paused = false;
    bool m_done = false;
    CURLcode m_result = CURLE_OK;
};

}  // namespace qv
