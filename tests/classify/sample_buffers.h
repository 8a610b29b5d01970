// Sound made to measure for the sample analysis. The analysis looks at every
// second value, in blocks of `rate` of them, so the sound is given a level per
// block: one second of the first channel in stereo, two seconds of mono.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace qv::test {

using Samples = std::shared_ptr<std::vector<float>>;

// A tone whose level in block b is levels[b % levels.size()]; `blocks` may
// end in a part of one. Channels other than the first play another tone when
// they are not to be alike.
Samples TonesInBlocks(uint32_t channels, uint32_t rate, double blocks, const std::vector<float>& levels,
                      bool channelsAlike = true);
// Speech: every block's level far from the one before (more than a tenth).
Samples SpeechLike(uint32_t channels, uint32_t rate, double blocks, bool channelsAlike = true);
// Music or film sound: one level throughout.
Samples Steady(uint32_t channels, uint32_t rate, double blocks, bool channelsAlike = true);

}  // namespace qv::test
