// The search in the video site's text: where each value is taken from, its
// defaults, and a text of tens of megabytes.
#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "web/video_site_text.h"
#include "web/youtube_video_info.h"

namespace qv::test {
namespace {

struct InfoCase {
    const char* name;
    std::wstring raw;
    std::size_t start;
    uint32_t rate, channels, durationMs;
    std::wstring category, description;
};

void PrintTo(const InfoCase& c, std::ostream* os) { *os << c.name; }

// The first search begins one character in, so each text opens as the
// site's do, with a brace.
class VideoInfoFromTextTest : public ::testing::TestWithParam<InfoCase> {};

TEST_P(VideoInfoFromTextTest, TakesTheValuesBetweenTheKeys) {
    const InfoCase& c = GetParam();
    CRefPtr<CYoutubeVideoInfo> info = CYoutubeVideoInfo::FromText(c.raw, c.start);
    EXPECT_EQ(info->AudioSampleRate, c.rate);
    EXPECT_EQ(info->AudioChannels, c.channels);
    EXPECT_EQ(info->ApproxDurationMs, c.durationMs);
    EXPECT_EQ(info->CategoryName, c.category);
    EXPECT_EQ(info->ShortDescription, c.description);
}

const std::wstring kFull =
    LR"({"audioSampleRate":"44100","audioChannels":2},{"approxDurationMs":"213000"},)"
    LR"("shortDescription":"Live \u0026 loud","category":"Film \u0026 Animation")";

INSTANTIATE_TEST_SUITE_P(
    Texts, VideoInfoFromTextTest,
    ::testing::Values(
        InfoCase{"full", kFull, 0, 44100, 2, 213000, L"Film & Animation", L"Live & loud"},
        InfoCase{"start past the keys", kFull, kFull.size() - 5, 8000, 1, 100000000, L"", L""},
        InfoCase{"none of the keys", L"<html></html>", 0, 8000, 1, 100000000, L"", L""},
        InfoCase{"a rate behind the adaptive list does not count",
                 LR"({"audioSampleRate":"22050","adaptiveFormats":[{"audioSampleRate":"48000"}])", 0, 22050, 1,
                 100000000, L"", L""},
        InfoCase{"the larger rate wins, first or not",
                 LR"({"audioSampleRate":"48000","audioSampleRate":"44100","audioSampleRate":"96000x")", 0, 96000, 1,
                 100000000, L"", L""},
        InfoCase{"channels run to the brace, the number to its last digit",
                 LR"({"audioChannels":6,"loudnessDb":-3.5}, "audioChannels":2})", 0, 8000, 6, 100000000, L"", L""},
        InfoCase{"a start key without its end key", LR"({"approxDurationMs":"1000","approxDurationMs":"9)", 0, 8000, 1,
                 1000, L"", L""},
        InfoCase{"empty values", LR"({"audioSampleRate":"","category":"")", 0, 8000, 1, 100000000, L"", L""}));

TEST(VideoSiteTextTest, UnescapesQuotesThenBackslashes) {
    EXPECT_EQ(UnescapeVideoSiteText(LR"({\"a\":\"b\\\\u0026c\"} \\\")"), LR"({"a":"b\\u0026c"} \")");
}

TEST(VideoSiteTextTest, PercentDecodingReadsTheBytesAsUtf8) {
    EXPECT_EQ(PercentDecode(L"a%20b%C3%A9+%7e"), std::optional<std::wstring>(L"a b\u00e9+~"));
    for (const wchar_t* bad : {L"50%", L"%4", L"%zz", L"a%00b"}) EXPECT_FALSE(PercentDecode(bad)) << bad;
}

// A page's script or watch page can run to tens of megabytes, all of it the
// site's: the scans must neither recurse nor go back over the text.
TEST(VideoSiteTextTest, AHugeTextIsScannedInLinearTime) {
    std::wstring raw;
    const std::wstring unit = LR"("audioChannels":1,"audioSampleRate":"1)";
    raw.reserve(30u << 20);
    while (raw.size() + unit.size() < (30u << 20)) raw += unit;
    const auto begin = std::chrono::steady_clock::now();
    CRefPtr<CYoutubeVideoInfo> info = CYoutubeVideoInfo::FromText(raw, 0);
    EXPECT_EQ(info->AudioChannels, 1u);
    EXPECT_EQ(info->AudioSampleRate, 8000u);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

}  // namespace
}  // namespace qv::test
