// A short WAV file for a player to play: 16-bit PCM, a tone whose level
// changes each half second, so that it sounds like something rather than
// silence to anything that looks at it.
#pragma once

#include <string>

namespace qv::test {

bool WriteToneWave(const std::string& path, double seconds, unsigned sampleRate = 22050, unsigned channels = 1);

}  // namespace qv::test
