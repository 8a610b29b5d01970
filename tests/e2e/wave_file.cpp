#include "wave_file.h"

#include <cmath>
#include <cstdint>
#include <fstream>
#include <numbers>
#include <vector>

namespace qv::test {

namespace {

void PutLittleEndian(std::vector<char>& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

}  // namespace

bool WriteToneWave(const std::string& path, double seconds, unsigned sampleRate, unsigned channels) {
    const auto frames = static_cast<uint32_t>(seconds * sampleRate);
    const uint32_t dataBytes = frames * channels * 2;
    std::vector<char> file;
    file.reserve(44 + dataBytes);
    auto put = [&](const char* tag) { file.insert(file.end(), tag, tag + 4); };
    put("RIFF");
    PutLittleEndian(file, 36 + dataBytes, 4);
    put("WAVE");
    put("fmt ");
    PutLittleEndian(file, 16, 4);
    PutLittleEndian(file, 1, 2);  // PCM
    PutLittleEndian(file, channels, 2);
    PutLittleEndian(file, sampleRate, 4);
    PutLittleEndian(file, sampleRate * channels * 2, 4);
    PutLittleEndian(file, channels * 2, 2);
    PutLittleEndian(file, 16, 2);
    put("data");
    PutLittleEndian(file, dataBytes, 4);
    for (uint32_t frame = 0; frame < frames; ++frame) {
        const double t = static_cast<double>(frame) / sampleRate;
        const double level = (static_cast<int>(t * 2) % 2 == 0) ? 0.4 : 0.15;
        const auto sample = static_cast<int16_t>(level * 32767 * std::sin(2 * std::numbers::pi * 330 * t));
        for (unsigned c = 0; c < channels; ++c) PutLittleEndian(file, static_cast<uint16_t>(sample), 2);
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(file.data(), static_cast<std::streamsize>(file.size()));
    return static_cast<bool>(out);
}

}  // namespace qv::test
