// The classification value: its names towards the host, the reverse map of
// the device's content type name, and the narrow equality.
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "classify/classification.h"

namespace qv {
namespace {

TEST(ClassificationName, GivesTheHostsWordForEveryCategory) {
    EXPECT_EQ(std::wstring(ClassificationName(-1)), L"");
    EXPECT_EQ(std::wstring(ClassificationName(0)), L"AnyContent");
    EXPECT_EQ(std::wstring(ClassificationName(1)), L"AnyContent") << "music has no word of its own";
    EXPECT_EQ(std::wstring(ClassificationName(2)), L"Movie");
    EXPECT_EQ(std::wstring(ClassificationName(3)), L"Voice");
    EXPECT_EQ(std::wstring(ClassificationName(4)), L"Game");
    EXPECT_EQ(std::wstring(ClassificationName(7)), L"AnyContent");
    EXPECT_EQ(std::wstring(ClassificationName(-2)), L"AnyContent");
    EXPECT_EQ(std::wstring(ClassificationName(std::numeric_limits<int32_t>::min())), L"AnyContent");
}

TEST(ClassificationByName, HasExactlyTheSixEntries) {
    const auto& map = ClassificationByName();
    EXPECT_EQ(map, (std::map<std::wstring, int32_t>{{L"", -1},
                                                    {L"Movie", 2},
                                                    {L"Voice", 3},
                                                    {L"Game", 4},
                                                    {L"AnyContent", 1},
                                                    {L"Music", 1}}));
}

TEST(ClassificationByName, LookUpIsExactAndCaseSensitive) {
    EXPECT_EQ(CategoryFromName(L"Movie"), CategoryMovie);
    EXPECT_EQ(CategoryFromName(L"Voice"), CategoryVoice);
    EXPECT_EQ(CategoryFromName(L"Game"), CategoryGame);
    EXPECT_EQ(CategoryFromName(L"AnyContent"), CategoryMusic) << "never CategoryNone";
    EXPECT_EQ(CategoryFromName(L"Music"), CategoryMusic);
    EXPECT_EQ(CategoryFromName(L""), CategoryUndefined);
    for (const wchar_t* unknown : {L"movie", L"MOVIE", L"Movie ", L" Movie", L"anycontent", L"None", L"Film"}) {
        EXPECT_EQ(CategoryFromName(unknown), CategoryUndefined) << std::wstring(unknown).size();
    }
}

TEST(ClassificationByName, RoundTripTurnsNoneIntoMusic) {
    EXPECT_EQ(CategoryFromName(ClassificationName(CategoryNone)), CategoryMusic);
    for (int32_t category : {CategoryUndefined, CategoryMovie, CategoryVoice, CategoryGame, CategoryMusic}) {
        EXPECT_EQ(CategoryFromName(ClassificationName(category)), category);
    }
}

TEST(CClassificationValue, DefaultIsUndefinedWithNothingElseSet) {
    const CClassification value;
    EXPECT_EQ(value.Category, -1);
    EXPECT_EQ(value.Confidence, 0.0f);
    EXPECT_EQ(value.Priority, 0);
    EXPECT_EQ(value.Source, 0);
    EXPECT_FALSE(value.VoiceRejected);
}

TEST(CClassificationValue, EqualityLooksAtCategoryPriorityAndConfidenceOnly) {
    const CClassification voice{CategoryVoice, 1.0f, 30, SourceSessionRules, false};
    CClassification other = voice;
    other.Source = SourceWebPage;
    other.VoiceRejected = true;
    EXPECT_TRUE(voice == other);

    other = voice;
    other.Category = CategoryMovie;
    EXPECT_FALSE(voice == other);
    other = voice;
    other.Priority = 10;
    EXPECT_FALSE(voice == other);
    other = voice;
    other.Confidence = 0.8f;
    EXPECT_FALSE(voice == other);

    CClassification unsure = voice;
    unsure.Confidence = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(unsure == unsure) << "a NaN confidence equals nothing, itself included";
}

}  // namespace
}  // namespace qv
