// The media port against Media Foundation's source reader: a WAV of known
// samples written here, and a short MJPEG video with PCM sound that the build
// makes. Media Foundation is started and, as in the product, never shut down:
// under Wine a process that calls MFShutdown sometimes crashes on its way out.
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/win32/windows_api.h"
#include "win32_ports_support.h"

namespace qv {
namespace {

using test::Win32Platform;

constexpr uint32_t kRate = 44100;
constexpr size_t kComparedBytes = 8 * kRate * 2 * 2;  // eight seconds of 16-bit stereo

// A WAV of nine seconds of 16-bit stereo, whose sound is `pcm`. Every
// sample differs from its neighbours, so that a lost, repeated or swapped
// block shows.
std::vector<uint8_t> NineSecondWav(std::vector<uint8_t>& pcm) {
    pcm.resize(9 * kRate * 2 * 2);
    for (size_t k = 0; k < pcm.size() / 2; ++k) {
        const auto sample = static_cast<uint16_t>(k * 7919 + k / 8192);
        std::memcpy(&pcm[2 * k], &sample, 2);
    }
    const auto size = static_cast<uint32_t>(pcm.size());
    const uint32_t header[11] = {0, 36 + size, 0, 0, 16, 1 | 2 << 16, kRate, kRate * 4, 4 | 16 << 16, 0, size};
    std::vector<uint8_t> wav(sizeof header + size);
    std::memcpy(wav.data(), header, sizeof header);
    std::memcpy(wav.data() + sizeof header, pcm.data(), size);
    for (auto [at, tag] : {std::pair{0, "RIFF"}, {8, "WAVE"}, {12, "fmt "}, {36, "data"}})
        std::memcpy(&wav[at], tag, 4);
    return wav;
}

class Win32MediaTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(Win32Platform()->System()->MFStartup(), S_OK); }

    // The first audio stream alone, as PCM, with its channels, rate, bits
    // and duration as expected.
    void OpenAudio(const std::wstring& path, std::array<uint32_t, 3> facts, int64_t duration,
                   CRefPtr<IMFSourceReader>& reader) {
        constexpr uint32_t kAudio = MF_SOURCE_READER_FIRST_AUDIO_STREAM;
        CRefPtr<IMFMediaType> pcm, current;
        ASSERT_EQ(media->MFCreateSourceReaderFromURL(path, reader), S_OK);
        ASSERT_EQ(reader->SetStreamSelection(MF_SOURCE_READER_ALL_STREAMS, false), S_OK);
        ASSERT_EQ(reader->SetStreamSelection(kAudio, true), S_OK);
        ASSERT_EQ(media->MFCreateMediaType(pcm), S_OK);
        ASSERT_EQ(pcm->SetGUID(MediaAttribute::MajorType, MediaTypeValue::MediaTypeAudio), S_OK);
        ASSERT_EQ(pcm->SetGUID(MediaAttribute::Subtype, MediaTypeValue::AudioFormatPCM), S_OK);
        ASSERT_EQ(reader->SetCurrentMediaType(kAudio, pcm.get()), S_OK);
        ASSERT_EQ(reader->GetCurrentMediaType(kAudio, current), S_OK);
        std::array<uint32_t, 3> read{};
        EXPECT_EQ(current->GetUINT32(MediaAttribute::AudioNumChannels, read[0]) |
                      current->GetUINT32(MediaAttribute::AudioSamplesPerSecond, read[1]) |
                      current->GetUINT32(MediaAttribute::AudioBitsPerSample, read[2]),
                  S_OK);
        EXPECT_EQ(read, facts);
        MediaPropVariant variant;
        int64_t length = 0;
        const auto key = PresentationAttribute::Duration;
        EXPECT_EQ(reader->GetPresentationAttribute(MF_SOURCE_READER_MEDIASOURCE, key, variant), S_OK);
        EXPECT_EQ(variant.vt, kVtUI8);
        EXPECT_EQ(media->PropVariantToInt64(variant, length), S_OK);
        EXPECT_EQ(length, duration);
    }

    // Decoded bytes until there are `limit` of them, the stream ends or a call fails.
    static std::vector<uint8_t> ReadPcm(IMFSourceReader* reader, size_t limit) {
        std::vector<uint8_t> pcm;
        uint32_t flags = 0;
        while (pcm.size() < limit && !(flags & MF_SOURCE_READERF_ENDOFSTREAM)) {
            CRefPtr<IMFSample> sample;
            CRefPtr<IMFMediaBuffer> buffer;
            const uint8_t* data = nullptr;
            uint32_t max = 0, length = 0;
            if (reader->ReadSample(MF_SOURCE_READER_FIRST_AUDIO_STREAM, flags, sample) != S_OK) break;
            if (!sample) continue;
            if (sample->ConvertToContiguousBuffer(buffer) != S_OK || buffer->Lock(data, max, length) != S_OK) break;
            pcm.insert(pcm.end(), data, data + length);
            EXPECT_EQ(buffer->Unlock(), S_OK);
        }
        return pcm;
    }

    CRefPtr<IMediaFoundation> media = Win32Platform()->Media();
};

TEST_F(Win32MediaTest, AWavGivesItsFactsAndItsFirstEightSecondsSampleForSample) {
    struct RemovedAtEnd {
        std::wstring path;
        ~RemovedAtEnd() { ::DeleteFileW(path.c_str()); }
    };
    wchar_t folder[MAX_PATH + 1] = {};
    ASSERT_NE(::GetTempPathW(MAX_PATH + 1, folder), 0u);
    const RemovedAtEnd wav{folder + test::UniqueName(L"QvMedia") + L".wav"};
    std::vector<uint8_t> written;
    ASSERT_EQ(Win32Platform()->Files()->WriteWholeFile(wav.path, NineSecondWav(written)), 0u);

    CRefPtr<IMFSourceReader> reader;
    ASSERT_NO_FATAL_FAILURE(OpenAudio(wav.path, {2, kRate, 16}, 90'000'000, reader));
    const std::vector<uint8_t> pcm = ReadPcm(reader.get(), kComparedBytes);
    ASSERT_GE(pcm.size(), kComparedBytes);
    EXPECT_EQ(std::memcmp(pcm.data(), written.data(), kComparedBytes), 0);
}

TEST_F(Win32MediaTest, AVideosSoundIsItsFirstAudioStreamReadToItsEnd) {
    const std::wstring program = test::ChildProgramPath();
    const std::wstring clip = program.substr(0, program.find_last_of(L"\\/") + 1) + L"qv_media_clip.avi";
    if (::GetFileAttributesW(clip.c_str()) == INVALID_FILE_ATTRIBUTES)
        GTEST_SKIP() << "no video beside the test program: the build found no ffmpeg to make it";
    CRefPtr<IMFSourceReader> reader;
    ASSERT_NO_FATAL_FAILURE(OpenAudio(clip, {1, 22050, 16}, 30'000'000, reader));
    EXPECT_EQ(ReadPcm(reader.get(), SIZE_MAX).size(), 3u * 22050 * 2);
}

TEST_F(Win32MediaTest, AMissingFileFailsAtCreation) {
    CRefPtr<IMFSourceReader> reader;
    EXPECT_LT(media->MFCreateSourceReaderFromURL(L"C:\\no\\such\\folder\\clip.mp3", reader), 0);
    EXPECT_FALSE(reader);
}

TEST_F(Win32MediaTest, TheVariantConvertsWithItsTypesSignAndRange) {
    int64_t value = 0;
    EXPECT_EQ(media->PropVariantToInt64({kVtUI4, 0xFFFFFFFF}, value), S_OK);
    EXPECT_EQ(value, 0xFFFFFFFFll);
    EXPECT_EQ(media->PropVariantToInt64({kVtI4, -5}, value), S_OK);
    EXPECT_EQ(value, -5);
    EXPECT_LT(media->PropVariantToInt64({kVtUI8, INT64_MIN}, value), 0) << "2^63 is past the signed range";
    EXPECT_EQ(media->PropVariantToInt64({31 /* VT_LPWSTR */, 0}, value), E_INVALIDARG);
}

}  // namespace
}  // namespace qv
