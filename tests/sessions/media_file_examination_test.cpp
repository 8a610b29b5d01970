// The examination of an opened media file on the simulated machine: which
// step's failure says what and leaves what, how far the decoding goes, and
// the conversion of each resolution as the classifier has always read it.
#include <cstring>

#include <gtest/gtest.h>

#include "platform/codes.h"
#include "sessions/media_file_examination.h"
#include "support/main_thread_harness.h"

namespace qv::test {
namespace {

const std::wstring kSong = L"C:\\Music\\song.wav";
constexpr uint32_t kTenthOfASecond = 44100 * 2 * 2 / 10;  // stereo 16-bit bytes

std::vector<uint8_t> Bytes(std::initializer_list<int> values) {
    std::vector<uint8_t> bytes;
    for (int v : values) bytes.push_back(static_cast<uint8_t>(v));
    return bytes;
}

class MediaFileExaminationTest : public ::testing::Test {
protected:
    // A stereo 44.1 kHz 16-bit file of so many tenths of a second, each buffer
    // a tenth, the values counting up so that a lost or doubled buffer shows.
    SimMediaFile Song(int tenths) {
        SimMediaFile file;
        file.duration100ns = int64_t{tenths} * 1000000;
        for (int t = 0; t < tenths; ++t) {
            std::vector<uint8_t> buffer(kTenthOfASecond);
            for (uint32_t i = 0; i < kTenthOfASecond; i += 2) buffer[i] = static_cast<uint8_t>(t);
            file.buffers.push_back(std::move(buffer));
        }
        return file;
    }
    MediaFileFacts Examine(const SimMediaFile& file, bool isVideo = false) {
        media().PutMediaFile(kSong, file);
        return ExamineMediaFile(*tracer, media(), kSong, isVideo);
    }
    CSimMedia& media() { return *h.platform->SimMedia; }

    MainThreadHarness h;
    CRefPtr<CCommonBase> tracer = MakeRef<CCommonBase>(h.trace, h.dispatcher, h.log);
};

TEST_F(MediaFileExaminationTest, EightSecondsOfAStereo16BitStreamAreTakenWholeBuffersAndAShortFileToItsEnd) {
    EXPECT_EQ(EightSecondsOfBytes(44100, 2, 16), 1411200u);
    // The shift comes before the product: 11025 / 8 loses its remainder.
    EXPECT_EQ(EightSecondsOfBytes(11025, 1, 8), 88192u);

    MediaFileFacts facts = Examine(Song(100));
    ASSERT_TRUE(facts.info && facts.samples);
    EXPECT_EQ(facts.info->ChannelCount, 2u);
    EXPECT_EQ(facts.info->SamplesPerSecond, 44100u);
    EXPECT_EQ(facts.info->BitsPerSample, 16u);
    EXPECT_DOUBLE_EQ(facts.info->DurationSeconds, 10.0);
    ASSERT_EQ(facts.samples->size(), 705600u);
    EXPECT_FLOAT_EQ(facts.samples->back(), 79 * 3.0517578e-5f);

    facts = Examine(Song(3));
    ASSERT_TRUE(facts.samples);
    EXPECT_EQ(facts.samples->size(), 3u * kTenthOfASecond / 2);

    // A limit inside a buffer takes that buffer whole.
    SimMediaFile odd = Song(100);
    odd.buffers.assign(2, std::vector<uint8_t>(1411200 - 2, 0));
    EXPECT_EQ(Examine(odd).samples->size(), 1411198u);
}

TEST_F(MediaFileExaminationTest, EachResolutionConvertsAsTheClassifierReadsIt) {
    std::vector<float> out;
    ASSERT_TRUE(AppendDecodedSamples(Bytes({0x80, 0x7F, 0x01}).data(), 3, 8, out));
    EXPECT_EQ(out, (std::vector<float>{-1.0f, 0.9921875f, 0.0078125f}));

    out.clear();
    ASSERT_TRUE(AppendDecodedSamples(Bytes({0x00, 0x80, 0xFF, 0x7F}).data(), 4, 16, out));
    EXPECT_EQ(out, (std::vector<float>{-1.0f, 32767 * 3.0517578e-5f}));

    // Overlapping 16-bit words, not 3-byte samples: words 0x0201, 0x0403,
    // 0xFF05; a negative middle word spreads its sign over the high bits.
    out.clear();
    ASSERT_TRUE(AppendDecodedSamples(Bytes({0x01, 0x02, 0x03, 0x04, 0x05, 0xFF}).data(), 6, 24, out));
    ASSERT_EQ(out.size(), 2u);
    const int32_t first = static_cast<int32_t>(((((0xFFFFFF05u << 8) | 0x0403u) << 8) | 0x0201u) << 8);
    EXPECT_FLOAT_EQ(out[0], static_cast<float>(first) * 1.1920929e-7f);
    // The second value's words run past the buffer and count as zero.
    const int32_t second = static_cast<int32_t>((((0u << 8) | 0xFFFFFF05u) << 8 | 0x0403u) << 8);
    EXPECT_FLOAT_EQ(out[1], static_cast<float>(second) * 1.1920929e-7f);

    out.clear();
    const float pi = 3.14159f;
    uint8_t raw[4];
    std::memcpy(raw, &pi, 4);
    ASSERT_TRUE(AppendDecodedSamples(raw, 4, 32, out));
    EXPECT_EQ(out, std::vector<float>{pi});

    out.assign(1, 0.5f);
    EXPECT_FALSE(AppendDecodedSamples(Bytes({1, 2, 3, 4, 5}).data(), 5, 20, out));
    EXPECT_EQ(out, (std::vector<float>{0.5f, 0.0f, 0.0f}));
}

TEST_F(MediaFileExaminationTest, A20BitStreamGivesZerosForItsFirstBufferAndStops) {
    SimMediaFile file = Song(10);
    file.bitsPerSample = 20;
    MediaFileFacts facts = Examine(file);
    ASSERT_TRUE(facts.info && facts.samples);
    EXPECT_EQ(facts.info->BitsPerSample, 20u);
    EXPECT_EQ(facts.samples->size(), kTenthOfASecond * 8u / 20u);
    for (float v : *facts.samples) ASSERT_EQ(v, 0.0f);
}

TEST_F(MediaFileExaminationTest, AVideoFileAndAnUnreadableDurationGiveFactsWithoutSamples) {
    MediaFileFacts facts = Examine(Song(10), /*isVideo=*/true);
    ASSERT_TRUE(facts.info);
    EXPECT_FALSE(facts.samples);
    EXPECT_EQ(media().Failures().CallCount(L"IMFSourceReader::ReadSample"), 0u);

    media().Failures().Fail(L"PropVariantToInt64", 0x80020005u, {}, 1);
    facts = Examine(Song(10));
    ASSERT_TRUE(facts.info);
    EXPECT_EQ(facts.info->DurationSeconds, 0.0);
    EXPECT_FALSE(facts.samples);
    EXPECT_TRUE(h.Traced(L"Failed to read duration from PROPVARIANT with error code -2147352571."));

    // A source without a duration tells nothing at all.
    SimMediaFile endless = Song(2);
    endless.duration100ns.reset();
    EXPECT_FALSE(Examine(endless).info);
    EXPECT_TRUE(h.Traced(L"Failed to receive duration with error code -1072875802."));
}

TEST_F(MediaFileExaminationTest, EachFailureEndsTheExaminationWithItsOwnWordsOrNone) {
    struct Case {
        const wchar_t* operation;
        const wchar_t* target;
        const wchar_t* message;  // null: the step has no message
        bool info;
        bool samples;
    };
    const Case cases[] = {
        {L"MFCreateSourceReaderFromURL", L"", L"Failed to decode media file at C:\\Music\\song.wav with error code -1.",
         false, false},
        {L"IMFSourceReader::SetStreamSelection", L"", nullptr, false, false},
        {L"MFCreateMediaType", L"", nullptr, false, false},
        {L"IMFMediaType::SetGUID", L"", nullptr, false, false},
        {L"IMFSourceReader::SetCurrentMediaType", L"", nullptr, false, false},
        {L"IMFSourceReader::GetCurrentMediaType", L"", nullptr, false, false},
        {L"IMFMediaType::GetUINT32", L"channels", L"Failed to receive number of channels with error code -1.", false,
         false},
        {L"IMFMediaType::GetUINT32", L"rate", L"Failed to receive sample rate with error code -1.", false, false},
        {L"IMFMediaType::GetUINT32", L"bits", L"Failed to receive sample bit resolution with error code -1.", false,
         false},
        {L"IMFSourceReader::GetPresentationAttribute", L"", L"Failed to receive duration with error code -1.", false,
         false},
        // A failing read, conversion or lock ends the loop with nothing.
        {L"IMFSourceReader::ReadSample", L"", nullptr, true, false},
        {L"IMFSample::ConvertToContiguousBuffer", L"", nullptr, true, false},
        {L"IMFMediaBuffer::Lock", L"", nullptr, true, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::wstring(c.operation) + L" " + c.target);
        h.ClearTrace();
        media().Failures().ClearAll();
        media().Failures().Fail(c.operation, 0xFFFFFFFFu, c.target);
        MediaFileFacts facts = Examine(Song(3));
        EXPECT_EQ(static_cast<bool>(facts.info), c.info);
        EXPECT_EQ(static_cast<bool>(facts.samples), c.samples);
        EXPECT_TRUE(c.message ? h.Traced(c.message) : !h.Traced(L"Failed to"));
    }

    // A file without sound stops at the selection; a change of type ends
    // the loop like the end of the stream.
    media().Failures().ClearAll();
    SimMediaFile silent = Song(3);
    silent.hasAudio = false;
    EXPECT_FALSE(Examine(silent).info);
    SimMediaFile changing = Song(3);
    changing.typeChangesAfterBuffers = true;
    EXPECT_EQ(Examine(changing).samples->size(), 3u * kTenthOfASecond / 2);
}

}  // namespace
}  // namespace qv::test
