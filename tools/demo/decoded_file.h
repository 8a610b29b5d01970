// A media file decoded whole through the program's own media port, as the
// classifier reads it: first audio stream, interleaved 16-bit PCM. The
// demo client plays it while it holds the file open, as a player does.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qv::demo {

struct DecodedFile {
    uint32_t channels = 0;
    uint32_t samplesPerSecond = 0;
    std::vector<int16_t> samples;  // interleaved
};

// False, with the reason, when the file cannot be read or its stream is not
// 16-bit once decoded (the demo plays 16-bit sound only).
bool DecodeWholeFile(const std::string& path, DecodedFile& file, std::string& problem);

}  // namespace qv::demo
