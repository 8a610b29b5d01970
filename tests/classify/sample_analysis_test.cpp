// The local judgement of whether a file's first seconds sound like speech:
// level jumps between blocks, channels that carry the same sound, and the
// limits of what it looks at.
#include <gtest/gtest.h>

#include "classify/sample_analysis.h"
#include "sample_buffers.h"

namespace qv::test {
namespace {

constexpr uint32_t kRate = 8000;

SampleAnalysis Analyze(const Samples& samples, uint32_t channels, uint32_t rate = kRate) {
    return AnalyzeSamples(samples->data(), samples->size(), channels, rate);
}

TEST(SampleAnalysis, MoreThanTwoChannelsAreRejectedWhateverTheyHold) {
    for (uint32_t channels : {3u, 5u, 6u, 8u}) {
        SampleAnalysis result = Analyze(SpeechLike(channels, kRate, 4), channels);
        EXPECT_TRUE(result.rejected) << channels << " channels";
        EXPECT_EQ(result.score, 0) << "nothing is measured before the channel count";
    }
}

TEST(SampleAnalysis, JumpingLevelsInAlikeChannelsAreSpeechAndTheRestIsRejected) {
    struct Case {
        const char* what;
        Samples samples;
        uint32_t channels;
        int32_t score;
        bool alike;
        bool rejected;
        uint32_t rate = kRate;
    };
    const Case cases[] = {
        {"speech in mono: six blocks, five comparisons, every one a jump", SpeechLike(1, kRate, 6), 1, -5, true, false},
        {"speech in alike stereo", SpeechLike(2, kRate, 8), 2, -7, true, false},
        {"steady mono", Steady(1, kRate, 4), 1, 3, true, true},
        {"steady stereo", Steady(2, kRate, 4), 2, 3, true, true},
        {"wide stereo, even when it jumps", SpeechLike(2, kRate, 8, /*channelsAlike=*/false), 2, -7, false, true},
        // 0.5 -> 0.525 is 1.05 (+1), 0.525 -> 0.63 is 1.2 (-1), 0.63 -> 0.63 is 1
        // (+1), 0.63 -> 0.5418 is 0.86 (-1), 0.5418 -> 0.5 is 0.92 (+1).
        {"within a tenth is steady, beyond it not; above 0 is steady sound",
         TonesInBlocks(2, kRate, 6, {0.5f, 0.525f, 0.63f, 0.63f, 0.5418f, 0.5f}), 2, 1, true, true},
        {"a score of 0 is not steady", TonesInBlocks(2, kRate, 5, {0.5f, 0.525f, 0.63f, 0.63f, 0.5418f}), 2, 0, true,
         false},
        // The block after silence has nothing to compare with; the one after
        // that compares with it as usual.
        {"a silent block is no measure", TonesInBlocks(2, kRate, 3, {0.0f, 0.4f, 0.4f}), 2, 1, true, true},
        // Measured, the half block at ten times the level would count against.
        {"a last incomplete block is dropped", TonesInBlocks(2, kRate, 2.5, {0.3f, 0.3f, 3.0f}), 2, 1, true, true},
        {"under two blocks compare nothing", Steady(2, kRate, 1.6), 2, 0, true, false},
        {"under two blocks, wide", Steady(2, kRate, 1.6, false), 2, 0, false, true},
        {"a rate of 0 completes no block", Steady(2, kRate, 4), 2, 0, true, false, 0},
        {"a rate of 0, wide: the channels still count", Steady(2, kRate, 4, false), 2, 0, false, true, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const SampleAnalysis result = Analyze(c.samples, c.channels, c.rate);
        EXPECT_EQ(result.score, c.score);
        EXPECT_EQ(result.alike, c.alike);
        EXPECT_EQ(result.rejected, c.rejected);
    }
}

TEST(SampleAnalysis, MonoCountsOnlyEverySecondValue) {
    // The even values hold a steady tone, the odd ones wild jumps: only the
    // steady half is heard, so the sound is rejected as steady.
    Samples samples = Steady(1, kRate, 4);
    const std::vector<float> jumps = {0.9f, 0.01f, 0.5f, 0.02f};
    for (std::size_t i = 1; i < samples->size(); i += 2) (*samples)[i] = jumps[(i / kRate) % jumps.size()];
    SampleAnalysis result = Analyze(samples, 1);
    EXPECT_EQ(result.score, 3);
    EXPECT_TRUE(result.rejected);
}

TEST(SampleAnalysis, ChannelLikenessDividesByTheNumberOfValues) {
    // Each pair differs by 0.00015: above the limit of 0.0001 per pair, but
    // the sum is divided by the number of values, twice the pairs.
    std::vector<float> samples(2 * kRate);
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        samples[i] = 0.25f;
        samples[i + 1] = 0.25015f;
    }
    EXPECT_TRUE(AnalyzeSamples(samples.data(), samples.size(), 2, kRate).alike);

    for (std::size_t i = 0; i < samples.size(); i += 2) samples[i + 1] = 0.2503f;
    EXPECT_FALSE(AnalyzeSamples(samples.data(), samples.size(), 2, kRate).alike);
}

TEST(SampleAnalysis, OddLengthStereoStaysInsideTheBuffer) {
    // Only the values given are read (AddressSanitizer holds the test to it).
    std::vector<float> samples(2 * kRate + 1, 0.1f);
    SampleAnalysis result = AnalyzeSamples(samples.data(), samples.size(), 2, kRate);
    EXPECT_TRUE(result.alike);
    EXPECT_EQ(AnalyzeSamples(samples.data(), 0, 2, kRate).score, 0);
}

}  // namespace
}  // namespace qv::test
