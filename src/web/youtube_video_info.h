// What the video site's own text says about the video that a page plays:
// its audio format, length, category and description. Made once from that
// text and never changed, so pages share it by reference.
#pragma once

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

    const uint32_t AudioSampleRate;  // hertz
    const uint32_t AudioChannels;
    const uint32_t ApproxDurationMs;
    const std::wstring CategoryName;  // the site's name, e.g. "Music"
    const std::wstring ShortDescription;
};

}  // namespace qv
