// The classification value: its names towards the host, the reverse map of
// the device's content type name, and the narrow equality.
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "classify/classification.h"

namespace qv {
namespace {

TEST(ClassificationName, GivesTheHostsWordForEveryCategory) {
    // Music has no word of its own, and nor has anything out of range.
    const std::pair<int32_t, const wchar_t*> words[] = {
        {-1, L""},          {0, L"AnyContent"},  {1, L"AnyContent"},
        {2, L"Movie"},      {3, L"Voice"},       {4, L"Game"},
        {7, L"AnyContent"}, {-2, L"AnyContent"}, {std::numeric_limits<int32_t>::min(), L"AnyContent"}};
    for (const auto& [category, word] : words) EXPECT_EQ(std::wstring(ClassificationName(category)), word) << category;
}

TEST(ClassificationByName, HasExactlyTheSixEntriesAndNothingLooselyMatches) {
    // "AnyContent" reads as Music, never as None.
    EXPECT_EQ(ClassificationByName(),
              (std::map<std::wstring, int32_t>{
                  {L"", -1}, {L"Movie", 2}, {L"Voice", 3}, {L"Game", 4}, {L"AnyContent", 1}, {L"Music", 1}}));
    for (const auto& [name, category] : ClassificationByName()) EXPECT_EQ(CategoryFromName(name), category);
    for (const wchar_t* unknown : {L"movie", L"MOVIE", L"Movie ", L" Movie", L"anycontent", L"None", L"Film"})
        EXPECT_EQ(CategoryFromName(unknown), CategoryUndefined) << std::wstring(unknown).size();
}

// That Source and VoiceRejected do not count is left to the tests of the
// classification, whose results keep their first Source.
TEST(CClassificationValue, AConfidenceCountsAndANaNOneEqualsNothing) {
    const CClassification voice{CategoryVoice, 1.0f, 30, SourceSessionRules, false};
    CClassification other = voice;
    other.Confidence = 0.8f;
    EXPECT_FALSE(voice == other);
    other.Confidence = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(other == other) << "a NaN confidence equals nothing, itself included";
}

}  // namespace
}  // namespace qv
