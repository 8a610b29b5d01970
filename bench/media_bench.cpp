// Decoding through the media port as the classifier does it: the reader
// made, the first audio stream asked for as PCM, then 8 s of stereo 44.1 kHz
// 16-bit sound read. Once from a WAV file, once from AAC in an MP4 file with
// a video stream (made by the ffmpeg program). Each run is timed on its own;
// the median and the 99th percentile are reported.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_media.h"

namespace qv {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kRate = 44100;
constexpr std::size_t kEightSecondsBytes = std::size_t{kRate} * 2 * 2 * 8;

double Percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const auto index = static_cast<std::size_t>(std::ceil(p * values.size())) - 1;
    return values[std::min(index, values.size() - 1)];
}

class BenchFolder {
public:
    BenchFolder() : m_path(fs::temp_directory_path() / ("qv-media-bench-" + std::to_string(::getpid()))) {
        fs::create_directories(m_path);
    }
    ~BenchFolder() { fs::remove_all(m_path); }
    fs::path operator/(const std::string& name) const { return m_path / name; }

private:
    fs::path m_path;
};

// Ten seconds of a 440 Hz tone.
void WriteWav(const fs::path& path) {
    const uint32_t frames = kRate * 10, bytes = frames * 4;
    std::vector<int16_t> samples(std::size_t{frames} * 2);
    for (uint32_t i = 0; i < frames; ++i)
        samples[2 * i] = samples[2 * i + 1] = static_cast<int16_t>(8000 * std::sin(2 * M_PI * 440 * i / kRate));
    std::ofstream out(path, std::ios::binary);
    auto u32 = [&](uint32_t v) { out.write(reinterpret_cast<const char*>(&v), 4); };
    auto u16 = [&](uint16_t v) { out.write(reinterpret_cast<const char*>(&v), 2); };
    out << "RIFF";
    u32(36 + bytes);
    out << "WAVEfmt ";
    u32(16), u16(1), u16(2), u32(kRate), u32(kRate * 4), u16(4), u16(16);
    out << "data";
    u32(bytes);
    out.write(reinterpret_cast<const char*>(samples.data()), bytes);
}

// The classifier's reading: the bytes decoded, or 0 on any failure.
std::size_t DecodeEightSeconds(IMediaFoundation& media, const std::wstring& path) {
    CRefPtr<IMFSourceReader> reader;
    CRefPtr<IMFMediaType> pcm;
    if (Failed(media.MFCreateSourceReaderFromURL(path, reader)) ||
        Failed(reader->SetStreamSelection(MF_SOURCE_READER_ALL_STREAMS, false)) ||
        Failed(reader->SetStreamSelection(MF_SOURCE_READER_FIRST_AUDIO_STREAM, true)) ||
        Failed(media.MFCreateMediaType(pcm)))
        return 0;
    pcm->SetGUID(MediaAttribute::MajorType, MediaTypeValue::MediaTypeAudio);
    pcm->SetGUID(MediaAttribute::Subtype, MediaTypeValue::AudioFormatPCM);
    if (Failed(reader->SetCurrentMediaType(MF_SOURCE_READER_FIRST_AUDIO_STREAM, pcm.get()))) return 0;
    std::size_t decoded = 0;
    while (decoded < kEightSecondsBytes) {
        uint32_t flags = 0;
        CRefPtr<IMFSample> sample;
        if (Failed(reader->ReadSample(MF_SOURCE_READER_FIRST_AUDIO_STREAM, flags, sample))) return 0;
        if (flags & MF_SOURCE_READERF_ENDOFSTREAM) break;
        CRefPtr<IMFMediaBuffer> buffer;
        const uint8_t* data = nullptr;
        uint32_t max = 0, current = 0;
        if (Failed(sample->ConvertToContiguousBuffer(buffer)) || Failed(buffer->Lock(data, max, current))) return 0;
        benchmark::DoNotOptimize(data);
        decoded += current;
        buffer->Unlock();
    }
    return decoded;
}

void RunDecoding(benchmark::State& state, const fs::path& file) {
    CRefPtr<IMediaFoundation> media = MakeRef<CLinuxMediaFoundation>();
    const std::wstring path = Utf8ToWide(file.string());
    std::vector<double> runs;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const std::size_t decoded = DecodeEightSeconds(*media, path);
        const std::chrono::duration<double> run = std::chrono::steady_clock::now() - start;
        if (decoded < kEightSecondsBytes) {
            state.SkipWithError("the file did not decode to 8 s of sound");
            return;
        }
        state.SetIterationTime(run.count());
        runs.push_back(run.count() * 1000);
    }
    state.counters["median_ms"] = Percentile(runs, 0.5);
    state.counters["p99_ms"] = Percentile(runs, 0.99);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kEightSecondsBytes));
}

void BM_DecodeWav(benchmark::State& state) {
    BenchFolder folder;
    WriteWav(folder / "tone.wav");
    RunDecoding(state, folder / "tone.wav");
}
BENCHMARK(BM_DecodeWav)->UseManualTime()->Iterations(200)->Unit(benchmark::kMillisecond);

void BM_DecodeAacInMp4(benchmark::State& state) {
    BenchFolder folder;
    const fs::path file = folder / "tone.mp4";
    const std::string command =
        "ffmpeg -y -f lavfi -i testsrc=size=320x240:rate=25 -f lavfi -i sine=frequency=440:sample_rate=44100 "
        "-ac 2 -t 10 -c:v mpeg4 -c:a aac " +
        file.string() + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) {
        state.SkipWithError("the ffmpeg program is missing or failed");
        return;
    }
    RunDecoding(state, file);
}
BENCHMARK(BM_DecodeAacInMp4)->UseManualTime()->Iterations(100)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qv

BENCHMARK_MAIN();
