#include "web/youtube_video_info.h"

#include <algorithm>
#include <string_view>

#include "web/video_site_text.h"

namespace qv {

namespace {

// The largest value between the keys from `start` on. Values behind the
// bound belong to the adaptive streams, which are not the ones played. The
// scan ends at the first start key without an end key: no later one could
// find an end key either, and searching again for each would cost the
// square of the text's length.
uint32_t LargestBetween(std::wstring_view raw, std::size_t start, std::size_t bound, std::wstring_view startKey,
                        std::wstring_view endKey) {
    uint32_t largest = 0;
    std::size_t position = start;
    while (true) {
        bool endFound = false;
        const std::wstring value = ExtractBetween(raw, position, startKey, endKey, std::wstring(), endFound);
        if (position == std::wstring_view::npos || !endFound) break;
        if (bound != std::wstring_view::npos && position > bound) break;
        largest = std::max(largest, LeadingNumber(value));
    }
    return largest;
}

}  // namespace

CRefPtr<CYoutubeVideoInfo> CYoutubeVideoInfo::FromText(const std::wstring& raw, std::size_t start) {
    const std::size_t bound = start < raw.size() ? raw.find(L"\"adaptiveFormats\":[", start) : std::wstring::npos;
    const uint32_t rate = LargestBetween(raw, start, bound, L"\"audioSampleRate\":\"", L"\"");
    const uint32_t channels = LargestBetween(raw, start, bound, L"\"audioChannels\":", L"}");
    const uint32_t durationMs = LargestBetween(raw, start, bound, L"\"approxDurationMs\":\"", L"\"");
    std::size_t position = start;
    std::wstring description = ExtractBetween(raw, position, L"\"shortDescription\":\"", L"\"", std::wstring());
    position = start;
    std::wstring category = ExtractBetween(raw, position, L"\"category\":\"", L"\"", std::wstring());
    return MakeRef<CYoutubeVideoInfo>(std::max(rate, 8000u), std::max(channels, 1u),
                                      durationMs == 0 ? kUnknownDurationMs : durationMs, std::move(category),
                                      std::move(description));
}

}  // namespace qv
