// The video site's text as a hostile page or a broken download may make it:
// the searches, the unescaping and the info that is built from it. The first
// input byte picks where the info's scans start; the rest is the text. A
// position that comes back must lie within the text, and a value found
// between two keys cannot be longer than the text.
#include <cstdlib>
#include <string>

#include "core/text.h"
#include "fuzz_target.h"
#include "web/video_site_text.h"
#include "web/youtube_video_info.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qv;
    if (size == 0) return 0;
    const std::wstring text = Utf8ToWide(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    const std::size_t start = data[0] % (text.size() + 2);

    std::size_t position = start;
    bool endFound = false;
    const std::wstring value = ExtractBetween(text, position, L"\"category\":\"", L"\"", L"none", endFound);
    if (position != std::wstring::npos && position > text.size()) std::abort();
    if (value.size() > text.size() + 4) std::abort();

    const std::wstring unescaped = UnescapeVideoSiteText(text);
    if (unescaped.size() > text.size()) std::abort();
    (void)PercentDecode(text);
    (void)LeadingNumber(text);
    (void)CYoutubeVideoInfo::FromText(unescaped, start);
    return 0;
}
