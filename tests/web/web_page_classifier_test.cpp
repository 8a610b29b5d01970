// A page's classification: by the service that its host names, or on the
// video site by the category of the video that plays.
#include <ostream>

#include <gtest/gtest.h>

#include "core/text.h"
#include "web/youtube_categories.h"
#include "web_fixture.h"

namespace qv {

void PrintTo(const CClassification& c, std::ostream* os) {
    *os << "{" << c.Category << ", " << c.Confidence << ", " << c.Priority << ", " << c.Source << "}";
}

}  // namespace qv

namespace qv::test {
namespace {

const CClassification kNone{};
const CClassification kVoiceHost{CategoryVoice, 1.0f, 30, SourceWebPage};
const CClassification kMusicHost{CategoryMusic, 1.0f, 20, SourceWebPage};
const CClassification kMovieHost{CategoryMovie, 1.0f, 10, SourceWebPage};

struct HostCase {
    const char* url;
    CClassification expected;
};

void PrintTo(const HostCase& c, std::ostream* os) { *os << c.url; }

class WebHostRuleTest : public WebModelTest, public ::testing::WithParamInterface<HostCase> {};

TEST_P(WebHostRuleTest, HoldsWhileThePageSounds) {
    CRefPtr<CWebPage> page = AudiblePage(1, GetParam().url);
    Video(1, 1);
    const CWebPageClassifier& classifier = *page->WebPageClassifier.value();
    EXPECT_EQ(classifier.Classification.value(), GetParam().expected);
    EXPECT_EQ(h.log->Url.fields.text, Utf8ToWide(GetParam().url));

    page->audible.set(false);
    EXPECT_EQ(classifier.Classification.value(), kNone);
}

INSTANTIATE_TEST_SUITE_P(Hosts, WebHostRuleTest,
                         ::testing::Values(HostCase{"https://meet.google.com/abc-defg-hij", kVoiceHost},
                                           HostCase{"https://www.audible.com/pd/x", kVoiceHost},
                                           // A whole-domain service needs its subdomain.
                                           HostCase{"https://spotify.com/", kNone},
                                           HostCase{"https://open.spotify.com/track/1", kMusicHost},
                                           // The video site's music is settled before the video site is asked.
                                           HostCase{"https://music.youtube.com/watch?v=abc", kMusicHost},
                                           // Amazon's music before Amazon's films.
                                           HostCase{"https://music.amazon.com/albums/1", kMusicHost},
                                           HostCase{"https://www.amazon.com/gp/video/1", kMovieHost},
                                           // The rules are case sensitive.
                                           HostCase{"https://WWW.NETFLIX.COM/watch/1", kNone}));

class WebCategoryTest : public WebModelTest {
protected:
    // An audible watch page whose classifier has the category table, as an
    // allowed add-on's page does.
    void SetUp() override {
        page = AudiblePage(1, "https://www.youtube.com/watch?v=abc");
        video = Video(1, 1);
        video->duration.set(300.0f);
        classifier = page->WebPageClassifier.value();
        classifier->YoutubeCategoryClassifications.set(MakeRef<CYoutubeCategoryClassifications_ZK>());
    }
    // What the metadata does once it has the video's information.
    void MetadataArrives(int32_t category) {
        page->youtubeVideoInfo.set(MakeRef<CYoutubeVideoInfo>(44100u, 2u, 300000u, L"", L""));
        page->youtubeCategoryId.set(category);
    }
    CRefPtr<CWebPage> page;
    CRefPtr<CWebVideoElement> video;
    CRefPtr<CWebPageClassifier> classifier;
};

TEST_F(WebCategoryTest, AVideoWithoutKnownCategoryIsAFilm) {
    EXPECT_TRUE(page->IsVideo.value());
    EXPECT_EQ(classifier->Classification.value(), kNone);
    MetadataArrives(-1);
    EXPECT_EQ(classifier->Classification.value(), kMovieHost);
}

TEST_F(WebCategoryTest, TheCategoryDecides) {
    // Two numbers share "Comedy"; the video's name comes in as the higher.
    ASSERT_EQ(YoutubeCategoryIds().at(L"Comedy"), 34);
    MetadataArrives(34);
    EXPECT_EQ(classifier->Classification.value(), (CClassification{CategoryMovie, 0.8f, 10, SourceWebPage}));
    EXPECT_EQ(h.log->Category.fields, (CategoryFields{34, L"Comedy"}));

    page->youtubeCategoryId.set(YoutubeCategoryIds().at(L"Music"));
    EXPECT_EQ(classifier->Classification.value(), (CClassification{CategoryMusic, 1.0f, 20, SourceWebPage}));
}

// Unsubscribing isYoutube takes down the video's watch and its category.
TEST_F(WebCategoryTest, FallingSilentEndsTheVideo) {
    MetadataArrives(10);
    page->audible.set(false);
    EXPECT_FALSE(page->IsVideo.value());
    EXPECT_EQ(classifier->Classification.value(), kNone);
}

}  // namespace
}  // namespace qv::test
