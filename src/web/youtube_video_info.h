// What the video site's own text says about the video that a page plays:
// its audio format, length, category and description. Made once from that
// text and never changed, so pages share it by reference.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "core/ref.h"

namespace qv {

class CYoutubeVideoInfo : public CAddReleaseRef {
public:
    CYoutubeVideoInfo(uint32_t audioSampleRate, uint32_t audioChannels, uint32_t approxDurationMs,
                      std::wstring categoryName, std::wstring shortDescription)
        : AudioSampleRate(audioSampleRate),
          AudioChannels(audioChannels),
          ApproxDurationMs(approxDurationMs),
          CategoryName(std::move(categoryName)),
          ShortDescription(std::move(shortDescription)) {}

    // From the site's raw text, searched from `start` on: the largest of
    // each number before the adaptive stream list, then the description and
    // the category. What is missing takes its default: 8000 Hz, 1 channel,
    // 100000000 ms, no text.
    static CRefPtr<CYoutubeVideoInfo> FromText(const std::wstring& raw, std::size_t start);

    static constexpr uint32_t kUnknownDurationMs = 100000000u;

    const uint32_t AudioSampleRate;  // hertz
    const uint32_t AudioChannels;
    const uint32_t ApproxDurationMs;
    const std::wstring CategoryName;  // the site's name, e.g. "Music"
    const std::wstring ShortDescription;
};

}  // namespace qv
