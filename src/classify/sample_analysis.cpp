#include "classify/sample_analysis.h"

#include <cmath>

namespace qv {

SampleAnalysis AnalyzeSamples(const float* s, std::size_t n, uint32_t channelCount, uint32_t sampleRate) {
    SampleAnalysis result;
    if (channelCount > 2) {
        result.rejected = true;
        return result;
    }

    // Loudness steadiness: the level of each block against the one before.
    float level[2] = {0.0f, 0.0f};
    int k = 0;
    uint64_t counted = 0;
    for (std::size_t i = 0; i < n; i += 2) {
        level[k] += s[i] * s[i];
        if (++counted != sampleRate) continue;
        level[k] = std::sqrt(level[k] / static_cast<float>(sampleRate));
        const float current = level[k];
        k ^= 1;
        const float previous = level[k];
        if (previous > 0.0f) {
            const float q = current / previous;
            if (q > 0.9f && q < 1.1f)
                ++result.score;
            else
                --result.score;
        }
        level[k] = 0.0f;
        counted = 0;
    }

    // Channel likeness, over the number of values rather than of pairs.
    if (channelCount == 2 && n > 0) {
        double difference = 0.0;
        for (std::size_t i = 0; i + 1 < n; i += 2) difference += std::fabs(s[i] - s[i + 1]);
        result.alike = difference / static_cast<double>(n) < 0.0001;
    }

    result.rejected = result.score > 0 || !result.alike;
    return result;
}

}  // namespace qv
