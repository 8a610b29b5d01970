// The media port on Linux against files made here: WAV and FLAC of noise by
// sox, MP3, AAC and MP4 by the ffmpeg program (skipped when it is missing),
// each driven the way the model drives it.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_media.h"
#include "platform/linux/linux_platform.h"

namespace qv {
namespace {

namespace fs = std::filesystem;

bool Shell(const std::string& command) { return std::system(("(" + command + ") >/dev/null 2>&1").c_str()) == 0; }

// Noise as PCM, made a WAV file by sox; the bytes written.
std::vector<uint8_t> WriteWav(const fs::path& wav, int channels, int rate, int bits, std::size_t frames,
                              uint32_t seed) {
    std::vector<uint8_t> bytes(frames * channels * bits / 8);
    for (uint8_t& b : bytes) b = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
    const fs::path raw = fs::path(wav).replace_extension(".raw");
    std::ofstream(raw, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    EXPECT_TRUE(Shell("sox -t raw -r " + std::to_string(rate) + " -c " + std::to_string(channels) + " -b " +
                      std::to_string(bits) + (bits == 8 ? " -e unsigned " : " -e signed ") + raw.string() + " " +
                      wav.string()));
    return bytes;
}

// What the model learns of a file, step by step in its order.
struct Decoded {
    HRESULT failure = S_OK;
    std::string failedStep;
    uint32_t channels = 0, rate = 0, bits = 0;
    HRESULT durationResult = E_FAIL;
    MediaPropVariant duration;
    std::vector<uint8_t> pcm;
    std::vector<uint32_t> channelsAfterChanges;
    bool ended = false;
};

Decoded Decode(const fs::path& path, std::size_t enoughBytes = SIZE_MAX) {
    CRefPtr<IMediaFoundation> media = MakeRef<CLinuxPlatform>()->Media();
    Decoded d;
    auto failed = [&](HRESULT hr, const char* step) {
        if (Succeeded(hr)) return false;
        d.failure = hr, d.failedStep = step;
        return true;
    };
    CRefPtr<IMFSourceReader> reader;
    CRefPtr<IMFMediaType> pcm, type;
    constexpr uint32_t kAudio = MF_SOURCE_READER_FIRST_AUDIO_STREAM;
    if (failed(media->MFCreateSourceReaderFromURL(Utf8ToWide(path.string()), reader), "create") ||
        failed(reader->SetStreamSelection(MF_SOURCE_READER_ALL_STREAMS, false), "deselect") ||
        failed(reader->SetStreamSelection(kAudio, true), "select") || failed(media->MFCreateMediaType(pcm), "new") ||
        failed(pcm->SetGUID(MediaAttribute::MajorType, MediaTypeValue::MediaTypeAudio), "major") ||
        failed(pcm->SetGUID(MediaAttribute::Subtype, MediaTypeValue::AudioFormatPCM), "subtype") ||
        failed(reader->SetCurrentMediaType(kAudio, pcm.get()), "set type") ||
        failed(reader->GetCurrentMediaType(kAudio, type), "get type") ||
        failed(type->GetUINT32(MediaAttribute::AudioNumChannels, d.channels), "channels") ||
        failed(type->GetUINT32(MediaAttribute::AudioSamplesPerSecond, d.rate), "rate") ||
        failed(type->GetUINT32(MediaAttribute::AudioBitsPerSample, d.bits), "bits"))
        return d;
    d.durationResult =
        reader->GetPresentationAttribute(MF_SOURCE_READER_MEDIASOURCE, PresentationAttribute::Duration, d.duration);
    while (d.pcm.size() < enoughBytes) {
        uint32_t flags = 0;
        CRefPtr<IMFSample> sample;
        if (failed(reader->ReadSample(kAudio, flags, sample), "read")) return d;
        if (flags & MF_SOURCE_READERF_ENDOFSTREAM) {
            d.ended = !sample;
            break;
        }
        if (flags & MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED) {
            uint32_t channels = 0;
            reader->GetCurrentMediaType(kAudio, type);
            type->GetUINT32(MediaAttribute::AudioNumChannels, channels);
            d.channelsAfterChanges.push_back(channels);
        }
        CRefPtr<IMFMediaBuffer> buffer;
        const uint8_t* data = nullptr;
        uint32_t max = 0, current = 0;
        if (failed(sample->ConvertToContiguousBuffer(buffer), "buffer") ||
            failed(buffer->Lock(data, max, current), "lock"))
            return d;
        d.pcm.insert(d.pcm.end(), data, data + current);
        buffer->Unlock();
    }
    return d;
}

// The left channel of 16-bit stereo: its peak and how often it changes sign.
std::pair<int, int> PeakAndSignChanges(const std::vector<uint8_t>& pcm) {
    int peak = 0, changes = 0, previous = 0;
    for (std::size_t i = 0; i + 4 <= pcm.size(); i += 4) {
        const int v = static_cast<int16_t>(pcm[i] | pcm[i + 1] << 8);
        peak = std::max(peak, std::abs(v));
        if ((v < 0) != (previous < 0)) ++changes;
        previous = v;
    }
    return {peak, changes};
}

class LinuxMediaTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = fs::temp_directory_path() / "media-test";
        fs::create_directories(folder);
        hasFfmpeg = Shell("ffmpeg -version");
    }
    static void TearDownTestSuite() { fs::remove_all(folder); }
    static fs::path File(const std::string& name) { return folder / name; }
    // A file of ffmpeg's own sources: a 440 Hz tone, a test picture.
    static fs::path Ffmpeg(const std::string& name, const std::string& arguments) {
        EXPECT_TRUE(Shell("ffmpeg -y " + arguments + " " + File(name).string())) << name;
        return File(name);
    }
    static inline fs::path folder;
    static inline bool hasFfmpeg = false;
    static constexpr const char* kTone = "-f lavfi -i sine=frequency=440:sample_rate=44100 -ac 2 -t 3";
};

// Each value as written: unsigned 8 bits, 24 bits packed in 3 bytes,
// through the WAV and the FLAC decoders, to the end of the file or, as the
// model reads, the first eight seconds of a longer one.
TEST_F(LinuxMediaTest, PcmKeepsItsResolutionAndEveryValue) {
    const std::vector<uint8_t> eight = WriteWav(File("8.wav"), 2, 22050, 8, 22050, 3),
                               twentyFour = WriteWav(File("24.wav"), 2, 22050, 24, 22050, 4),
                               sixteen = WriteWav(File("16.wav"), 1, 8000, 16, 1001, 5),
                               tenSeconds = WriteWav(File("long.wav"), 2, 44100, 16, 44100 * 10, 1);
    ASSERT_TRUE(Shell("sox " + File("24.wav").string() + " " + File("24.flac").string()));
    ASSERT_TRUE(Shell("sox " + File("16.wav").string() + " " + File("16.flac").string()));
    const std::vector<uint8_t> eightSeconds(tenSeconds.begin(), tenSeconds.begin() + 44100 * 4 * 8);
    const std::tuple<const char*, uint32_t, uint32_t, uint32_t, int64_t, const std::vector<uint8_t>*> cases[] = {
        {"8.wav", 2, 22050, 8, 10'000'000, &eight},         {"24.wav", 2, 22050, 24, 10'000'000, &twentyFour},
        {"24.flac", 2, 22050, 24, 10'000'000, &twentyFour}, {"16.wav", 1, 8000, 16, 1'251'250, &sixteen},
        {"16.flac", 1, 8000, 16, 1'251'250, &sixteen},      {"long.wav", 2, 44100, 16, 100'000'000, &eightSeconds}};
    for (const auto& [name, channels, rate, bits, duration, bytes] : cases) {
        const bool whole = bytes != &eightSeconds;
        const Decoded d = Decode(File(name), whole ? SIZE_MAX : bytes->size());
        ASSERT_EQ(d.failure, S_OK) << name << " " << d.failedStep;
        EXPECT_EQ(std::tie(d.channels, d.rate, d.bits), std::make_tuple(channels, rate, bits)) << name;
        EXPECT_EQ(std::tie(d.durationResult, d.duration.vt, d.duration.value), std::make_tuple(S_OK, kVtUI8, duration))
            << name;
        EXPECT_EQ(d.ended, whole) << name;
        EXPECT_TRUE(whole ? d.pcm == *bytes
                          : d.pcm.size() >= bytes->size() && std::equal(bytes->begin(), bytes->end(), d.pcm.begin()))
            << name << ": " << d.pcm.size() << " bytes for " << bytes->size();
    }
}

TEST_F(LinuxMediaTest, CompressedSoundDecodesToSixteenBitsOfTheTone) {
    if (!hasFfmpeg) GTEST_SKIP() << "the ffmpeg program is not installed";
    const fs::path mp4 =
        Ffmpeg("av.mp4", "-f lavfi -i testsrc=size=160x120:rate=10 " + std::string(kTone) + " -c:v mpeg4 -c:a aac");
    const fs::path mp3 = Ffmpeg("tone.mp3", std::string(kTone) + " -c:a libmp3lame");
    for (const fs::path& file : {mp4, mp3}) {
        const Decoded d = Decode(file);
        ASSERT_EQ(d.failure, S_OK) << file << " " << d.failedStep;
        EXPECT_EQ(std::tie(d.channels, d.rate, d.bits), std::make_tuple(2u, 44100u, 16u)) << file;
        EXPECT_NEAR(static_cast<double>(d.duration.value), 30'000'000, 500'000) << file;
        EXPECT_TRUE(d.ended) << file;
        // ffmpeg's tone peaks at an eighth of full scale, 3 dB less on each of
        // two channels; 440 Hz changes sign 880 times a second.
        const auto [peak, signChanges] = PeakAndSignChanges(d.pcm);
        EXPECT_NEAR(peak, 2896, 300) << file;
        EXPECT_NEAR(signChanges, 2640, 30) << file;
        // The mp3 encoder's delay and padding are not all taken back out.
        if (file == mp4) {
            EXPECT_NEAR(static_cast<double>(d.pcm.size() / 4), 3 * 44100, 1024);
        }
    }
}

TEST_F(LinuxMediaTest, AChannelCountThatChangesMidStreamIsToldWithTheFirstSampleOfTheNewType) {
    if (!hasFfmpeg) GTEST_SKIP() << "the ffmpeg program is not installed";
    const fs::path mono = Ffmpeg("mono.mp3", "-f lavfi -i sine=frequency=440:sample_rate=44100 -ac 1 -t 1");
    const fs::path stereo = Ffmpeg("stereo.mp3", "-f lavfi -i sine=frequency=440:sample_rate=44100 -ac 2 -t 1");
    ASSERT_TRUE(Shell("cat " + mono.string() + " " + stereo.string() + " > " + File("mixed.mp3").string()));
    const Decoded d = Decode(File("mixed.mp3"));
    ASSERT_EQ(d.failure, S_OK) << d.failedStep;
    EXPECT_EQ(d.channels, 1u);
    EXPECT_EQ(d.channelsAfterChanges, std::vector<uint32_t>{2u});
    EXPECT_TRUE(d.ended);
}

TEST_F(LinuxMediaTest, FilesThatCannotBeReadFailWhereTheModelWouldStop) {
    Decoded d = Decode(File("missing.wav"));
    EXPECT_EQ(std::tie(d.failedStep, d.failure), std::make_tuple("create", HresultFromWin32(ERROR_FILE_NOT_FOUND)));
    { std::ofstream(File("notes.cfg")) << std::string(4000, 'x') << "\nnot media at all\n"; }
    { std::ofstream(File("new.mp3")); }
    for (const char* name : {"notes.cfg", "new.mp3"}) {
        d = Decode(File(name));
        EXPECT_EQ(std::tie(d.failedStep, d.failure), std::make_tuple("create", MF_E_UNSUPPORTED_BYTESTREAM_TYPE))
            << name;
    }
    if (!hasFfmpeg) GTEST_SKIP() << "the ffmpeg program is not installed";
    d = Decode(Ffmpeg("silent.mp4", "-f lavfi -i testsrc=size=160x120:rate=10 -t 1 -c:v mpeg4"));
    EXPECT_EQ(std::tie(d.failedStep, d.failure), std::make_tuple("select", MF_E_INVALIDSTREAMNUMBER));
}

// Sound through a FIFO: FFmpeg can neither read an ADTS stream's end nor
// estimate its length, so there is no duration, yet the sound decodes.
TEST_F(LinuxMediaTest, AStreamOfUnknownLengthHasNoDurationAttributeAndConvertsAsEmpty) {
    if (!hasFfmpeg) GTEST_SKIP() << "the ffmpeg program is not installed";
    const fs::path adts = Ffmpeg("tone.aac", "-f lavfi -i sine=frequency=440:sample_rate=44100 -ac 2 -t 0.5");
    const fs::path fifo = File("fifo.aac");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    // Under a pipe's 64 KiB, so the writer never waits for the reader.
    std::thread writer([&] { Shell("cat " + adts.string() + " > " + fifo.string()); });
    const Decoded d = Decode(fifo);
    // A reader that never opened the FIFO would leave the writer waiting.
    ::close(::open(fifo.c_str(), O_RDONLY | O_NONBLOCK));
    writer.join();
    ASSERT_EQ(d.failure, S_OK) << d.failedStep;
    EXPECT_EQ(d.durationResult, MF_E_ATTRIBUTENOTFOUND);
    EXPECT_EQ(d.duration.vt, kVtEmpty);
    EXPECT_NEAR(static_cast<double>(d.pcm.size() / 4), 0.5 * 44100, 2048);

    const auto convert = [media = MakeRef<CLinuxMediaFoundation>()](MediaPropVariant v) {
        int64_t value = -1;
        const HRESULT hr = media->PropVariantToInt64(v, value);
        return std::make_pair(hr, value);
    };
    EXPECT_EQ(convert(d.duration), std::make_pair(S_OK, int64_t{0}));
    EXPECT_EQ(convert({kVtI4, 0xFFFFFFFF}), std::make_pair(S_OK, int64_t{-1}));
    EXPECT_EQ(convert({kVtUI8, -1}), std::make_pair(HresultFromWin32(ERROR_ARITHMETIC_OVERFLOW), int64_t{0}));
    EXPECT_EQ(convert({11, 1}), std::make_pair(DISP_E_TYPEMISMATCH, int64_t{0}));
}

}  // namespace
}  // namespace qv
