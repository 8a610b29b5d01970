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

TEST(SampleAnalysis, SpeechLikeLevelsInMonoOrAlikeStereoAreNotRejected) {
    SampleAnalysis mono = Analyze(SpeechLike(1, kRate, 6), 1);
    EXPECT_FALSE(mono.rejected);
    EXPECT_EQ(mono.score, -5) << "six blocks, five comparisons, every one a jump";
    EXPECT_TRUE(mono.alike);

    SampleAnalysis stereo = Analyze(SpeechLike(2, kRate, 8), 2);
    EXPECT_FALSE(stereo.rejected);
    EXPECT_EQ(stereo.score, -7);
    EXPECT_TRUE(stereo.alike);
}

TEST(SampleAnalysis, SteadyLevelsAreRejected) {
    SampleAnalysis mono = Analyze(Steady(1, kRate, 4), 1);
    EXPECT_EQ(mono.score, 3);
    EXPECT_TRUE(mono.rejected);
    SampleAnalysis stereo = Analyze(Steady(2, kRate, 4), 2);
    EXPECT_EQ(stereo.score, 3);
    EXPECT_TRUE(stereo.rejected);
}

TEST(SampleAnalysis, StereoWithDifferentChannelsIsRejectedEvenWhenItJumps) {
    SampleAnalysis result = Analyze(SpeechLike(2, kRate, 8, /*channelsAlike=*/false), 2);
    EXPECT_LT(result.score, 0);
    EXPECT_FALSE(result.alike);
    EXPECT_TRUE(result.rejected);
}

TEST(SampleAnalysis, ALevelWithinATenthCountsForSteadinessAndBeyondItAgainst) {
    // 0.5 -> 0.525 is 1.05 (+1), 0.525 -> 0.63 is 1.2 (-1), 0.63 -> 0.63 is 1 (+1),
    // 0.63 -> 0.5418 is 0.86 (-1), 0.5418 -> 0.5 is 0.92 (+1).
    SampleAnalysis result = Analyze(TonesInBlocks(2, kRate, 6, {0.5f, 0.525f, 0.63f, 0.63f, 0.5418f, 0.5f}), 2);
    EXPECT_EQ(result.score, 1);
    EXPECT_TRUE(result.rejected) << "a score above 0 is steady sound";

    result = Analyze(TonesInBlocks(2, kRate, 5, {0.5f, 0.525f, 0.63f, 0.63f, 0.5418f}), 2);
    EXPECT_EQ(result.score, 0);
    EXPECT_FALSE(result.rejected) << "a score of 0 is not steady";
}

TEST(SampleAnalysis, ASilentBlockIsNoMeasureForTheNext) {
    // The block after silence has nothing to compare with; the one after
    // that compares with it as usual.
    SampleAnalysis result = Analyze(TonesInBlocks(2, kRate, 3, {0.0f, 0.4f, 0.4f}), 2);
    EXPECT_EQ(result.score, 1);
}

TEST(SampleAnalysis, ALastIncompleteBlockIsDropped) {
    // Two equal blocks and half a block at ten times the level: the half
    // block would count against steadiness if it were measured.
    SampleAnalysis result = Analyze(TonesInBlocks(2, kRate, 2.5, {0.3f, 0.3f, 3.0f}), 2);
    EXPECT_EQ(result.score, 1);
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

TEST(SampleAnalysis, ShorterThanTwoBlocksComparesNothing) {
    SampleAnalysis alike = Analyze(Steady(2, kRate, 1.6), 2);
    EXPECT_EQ(alike.score, 0);
    EXPECT_FALSE(alike.rejected) << "alike channels and no score: speech";

    SampleAnalysis wide = Analyze(Steady(2, kRate, 1.6, /*channelsAlike=*/false), 2);
    EXPECT_EQ(wide.score, 0);
    EXPECT_TRUE(wide.rejected);
}

TEST(SampleAnalysis, ASampleRateOfZeroCompletesNoBlock) {
    Samples steady = Steady(2, kRate, 4);
    SampleAnalysis result = AnalyzeSamples(steady->data(), steady->size(), 2, 0);
    EXPECT_EQ(result.score, 0);
    EXPECT_FALSE(result.rejected);

    Samples wide = Steady(2, kRate, 4, /*channelsAlike=*/false);
    EXPECT_TRUE(AnalyzeSamples(wide->data(), wide->size(), 2, 0).rejected) << "the channels still count";
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
