// A page's address as a page may make it, taken apart by hand: every part
// is a piece of the address, so the parts together are never longer than it,
// and the video id is a piece of the query.
#include <cstdlib>
#include <string>

#include "fuzz_target.h"
#include "web/url_parts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qv;
    const std::string url(reinterpret_cast<const char*>(data), size);
    const std::optional<UrlParts> parts = DecomposeUrl(url);
    if (!parts) return 0;
    const std::size_t total = parts->scheme.size() + parts->userinfo.size() + parts->host.size() + parts->port.size() +
                              parts->path.size() + parts->query.size() + parts->fragment.size();
    if (total > url.size()) std::abort();
    if (url.find(parts->host) == std::string::npos || url.find(parts->query) == std::string::npos) std::abort();
    if (const std::optional<std::string> id = VideoIdOfQuery(parts->query))
        if (id->empty() || parts->query.find(*id) == std::string::npos) std::abort();
    return 0;
}
