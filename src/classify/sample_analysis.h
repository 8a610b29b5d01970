// The local check of whether the first seconds of a file sound like speech.
// Speech comes in bursts, so one second's level differs from the next; music
// and film sound are steady. And speech is centred: the two channels of a
// stereo file hold nearly the same samples.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

struct SampleAnalysis {
    int32_t score = 0;     // steady block pairs minus unsteady ones
    bool alike = true;     // the channels are (nearly) the same
    bool rejected = false; // not speech: more than two channels, steady, or wide
};

// Over n interleaved samples of the stream's channel count and rate. Blocks
// are `rate` values of every second sample, whatever the channel count: one
// second of the first channel in stereo, two seconds of mono. A last
// incomplete block is dropped; a rate of 0 completes no block.
SampleAnalysis AnalyzeSamples(const float* samples, std::size_t n, uint32_t channelCount, uint32_t sampleRate);

}  // namespace qv
