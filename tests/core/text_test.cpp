// Conversions between wide text and the bytes of the wires. The same tests
// run where wchar_t is UTF-16 (Windows) and where it is UTF-32 (Linux).
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"

namespace qv {
namespace {

const std::wstring kReplacement(1, static_cast<wchar_t>(0xFFFD));

// U+1F600, outside the Basic Multilingual Plane.
const std::wstring kGrin = L"\U0001F600";
const std::string kGrinUtf8 = "\xF0\x9F\x98\x80";

std::wstring Wide(std::initializer_list<uint32_t> units) {
    std::wstring text;
    for (uint32_t u : units) text.push_back(static_cast<wchar_t>(u));
    return text;
}

std::vector<uint8_t> Bytes(std::initializer_list<int> values) {
    std::vector<uint8_t> bytes;
    for (int v : values) bytes.push_back(static_cast<uint8_t>(v));
    return bytes;
}

testing::AssertionResult ReplacedThenX(const std::wstring& text) {
    const std::size_t x = text.find_first_not_of(kReplacement);
    if (x == 0 || x == std::wstring::npos || text.substr(x) != L"x")
        return testing::AssertionFailure() << "not one or more U+FFFD then \"x\": " << WideToUtf8(text);
    return testing::AssertionSuccess();
}

TEST(Utf8, RoundTripsAsciiAccentsAndCharactersOutsideTheBasicPlane) {
    const std::wstring text = L"Abc \u00E9\u00DF \u20AC " + kGrin + L" \u4E2D";
    const std::string utf8 = WideToUtf8(text);
    EXPECT_EQ(utf8, "Abc \xC3\xA9\xC3\x9F \xE2\x82\xAC " + kGrinUtf8 + " \xE4\xB8\xAD");
    EXPECT_EQ(Utf8ToWide(utf8), text);
}

TEST(Utf8, CharacterOutsideTheBasicPlaneTakesTheNativeWideForm) {
    const std::wstring wide = Utf8ToWide(kGrinUtf8);
    if constexpr (sizeof(wchar_t) == 2) {
        EXPECT_EQ(wide, Wide({0xD83D, 0xDE00}));
    } else {
        EXPECT_EQ(wide, Wide({0x1F600}));
    }
    EXPECT_EQ(WideToUtf8(wide), kGrinUtf8);
}

TEST(Utf8, InvalidSequencesBecomeReplacementCharactersAndTheRestIsKept) {
    // A byte that cannot start a character.
    EXPECT_EQ(Utf8ToWide("a\xFF" "b"), L"a" + kReplacement + L"b");
    // A sequence cut short by an ordinary character, and one cut by the end.
    EXPECT_EQ(Utf8ToWide("a\xE2\x82" "b"), L"a" + kReplacement + L"b");
    EXPECT_EQ(Utf8ToWide("ab\xF0\x9F"), L"ab" + kReplacement);
    // A continuation byte on its own.
    EXPECT_EQ(Utf8ToWide("\x80" "z"), kReplacement + L"z");
    // Overlong forms, encoded surrogates and numbers beyond U+10FFFF are not
    // characters: however many replacements they give, nothing of them
    // passes as text and what follows is kept.
    EXPECT_TRUE(ReplacedThenX(Utf8ToWide("\xC0\xAF" "x")));
    EXPECT_TRUE(ReplacedThenX(Utf8ToWide("\xE0\x80\xAF" "x")));
    EXPECT_TRUE(ReplacedThenX(Utf8ToWide("\xED\xA0\x80" "x")));
    EXPECT_TRUE(ReplacedThenX(Utf8ToWide("\xF4\x90\x80\x80" "x")));
    EXPECT_EQ(Utf8ToWide(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(Utf8, LoneSurrogateInWideTextBecomesAReplacementCharacter) {
    EXPECT_EQ(WideToUtf8(Wide({'a', 0xD800, 'b'})), "a\xEF\xBF\xBD" "b");
    EXPECT_EQ(WideToUtf8(Wide({'a', 0xDC00})), "a\xEF\xBF\xBD");
    if constexpr (sizeof(wchar_t) == 4) {
        EXPECT_EQ(WideToUtf8(Wide({0x110000})), "\xEF\xBF\xBD");
    }
}

TEST(Utf16Le, SurrogatePairsRoundTrip) {
    const std::wstring text = L"A" + kGrin + L"\u00E9";
    const std::vector<uint8_t> bytes = WideToUtf16Le(text);
    EXPECT_EQ(bytes, Bytes({0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE, 0xE9, 0x00}));
    EXPECT_EQ(Utf16LeToWide(bytes.data(), bytes.size()), text);
}

TEST(Utf16Le, LoneSurrogatesBecomeReplacementCharactersAndTheRestIsKept) {
    // A high surrogate before an ordinary character, a low one on its own, and
    // a high one at the very end.
    const std::vector<uint8_t> bytes = Bytes({0x3D, 0xD8, 0x41, 0x00, 0x00, 0xDE, 0x42, 0x00, 0x3D, 0xD8});
    EXPECT_EQ(Utf16LeToWide(bytes.data(), bytes.size()),
              kReplacement + L"A" + kReplacement + L"B" + kReplacement);
}

TEST(Utf16Le, OddLastByteIsDroppedAndEmptyInputGivesEmptyText) {
    const std::vector<uint8_t> bytes = Bytes({0x41, 0x00, 0x42});
    EXPECT_EQ(Utf16LeToWide(bytes.data(), bytes.size()), L"A");
    EXPECT_EQ(Utf16LeToWide(nullptr, 0), L"");
    EXPECT_TRUE(WideToUtf16Le(L"").empty());
}

TEST(CaseHelpers, LowerCaseAndPrefixComparisonIgnoreCase) {
    EXPECT_EQ(ToLowerWide(L"VLC.EXE"), L"vlc.exe");
    EXPECT_TRUE(StartsWithNoCase(L"Chrome.exe", L"CHROME"));
    EXPECT_FALSE(StartsWithNoCase(L"Chr", L"Chrome"));
    EXPECT_TRUE(StartsWithNoCase(L"anything", L""));
}

}  // namespace
}  // namespace qv
