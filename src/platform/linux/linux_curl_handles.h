// Ownership of libcurl's objects: an easy handle, a multi handle, a string
// list, and an easy handle's place in a multi handle. Each goes with its
// owner, on every path.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <utility>

namespace qv {

struct CurlEasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct CurlMultiDeleter {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct CurlListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

using CUniqueCurlEasy = std::unique_ptr<CURL, CurlEasyDeleter>;
using CUniqueCurlMulti = std::unique_ptr<CURLM, CurlMultiDeleter>;
using CUniqueCurlList = std::unique_ptr<curl_slist, CurlListDeleter>;

// An easy handle added to a multi handle; taken out again when this goes,
// which must be before either handle is cleaned up.
class CCurlMultiMembership {
public:
    CCurlMultiMembership() = default;
    CCurlMultiMembership(const CCurlMultiMembership&) = delete;
    CCurlMultiMembership& operator=(const CCurlMultiMembership&) = delete;
    ~CCurlMultiMembership() { reset(); }

    CURLMcode Add(CURLM* multi, CURL* easy) {
        reset();
        CURLMcode code = curl_multi_add_handle(multi, easy);
        if (code == CURLM_OK) m_pair = {multi, easy};
        return code;
    }
    void reset() {
        if (m_pair.first) curl_multi_remove_handle(m_pair.first, m_pair.second);
        m_pair = {};
    }

private:
    std::pair<CURLM*, CURL*> m_pair{};
};

}  // namespace qv
