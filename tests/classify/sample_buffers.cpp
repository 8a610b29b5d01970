#include "sample_buffers.h"

#include <cmath>
#include <numbers>

namespace qv::test {

Samples TonesInBlocks(uint32_t channels, uint32_t rate, double blocks, const std::vector<float>& levels,
                      bool channelsAlike) {
    // A block takes `rate` counted values, and only every second value counts.
    std::size_t n = static_cast<std::size_t>(blocks * 2.0 * rate);
    n -= n % channels;
    auto samples = std::make_shared<std::vector<float>>(n);
    const double peak = std::numbers::sqrt2;  // a sine of this peak has a level (RMS) of 1
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t frame = i / channels;
        const std::size_t channel = i % channels;
        const std::size_t block = (i / 2) / rate;
        const double t = static_cast<double>(frame) / rate;
        const double frequency = channelsAlike || channel == 0 ? 220.0 : 330.0;
        (*samples)[i] = static_cast<float>(levels[block % levels.size()] * peak *
                                           std::sin(2 * std::numbers::pi * frequency * t));
    }
    return samples;
}

Samples SpeechLike(uint32_t channels, uint32_t rate, double blocks, bool channelsAlike) {
    return TonesInBlocks(channels, rate, blocks, {0.5f, 0.1f, 0.35f, 0.05f, 0.6f, 0.2f, 0.45f, 0.08f}, channelsAlike);
}

Samples Steady(uint32_t channels, uint32_t rate, double blocks, bool channelsAlike) {
    return TonesInBlocks(channels, rate, blocks, {0.3f}, channelsAlike);
}

}  // namespace qv::test
