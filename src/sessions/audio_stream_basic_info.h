// The facts of a media stream: channels, sample rate, bits per sample and
// duration. Immutable once made; shared by reference.
#pragma once

#include <cstdint>

#include "core/ref.h"

namespace qv {

class CAudioStreamBasicInfo : public CAddReleaseRef {
public:
    CAudioStreamBasicInfo(uint32_t channelCount, uint32_t samplesPerSecond, uint32_t bitsPerSample,
                          double durationSeconds)
        : ChannelCount(channelCount),
          SamplesPerSecond(samplesPerSecond),
          BitsPerSample(bitsPerSample),
          DurationSeconds(durationSeconds) {}

    const uint32_t ChannelCount;
    const uint32_t SamplesPerSecond;  // per second and channel
    const uint32_t BitsPerSample;     // of the decoded stream
    const double DurationSeconds;     // 0.0 if unknown
};

}  // namespace qv
