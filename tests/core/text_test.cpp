// Conversions between wide text and the bytes of the wires. The same tests
// run where wchar_t is UTF-16 (Windows) and where it is UTF-32 (Linux).
#include <cstdint>
#include <string>
#include <utility>
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

TEST(Utf8, RoundTripsAndACharacterOutsideTheBasicPlaneTakesTheNativeWideForm) {
    const std::wstring text = L"Abc \u00E9\u00DF \u20AC " + kGrin + L" \u4E2D";
    const std::string utf8 = WideToUtf8(text);
    EXPECT_EQ(utf8, "Abc \xC3\xA9\xC3\x9F \xE2\x82\xAC " + kGrinUtf8 + " \xE4\xB8\xAD");
    EXPECT_EQ(Utf8ToWide(utf8), text);
    EXPECT_EQ(Utf8ToWide(kGrinUtf8), sizeof(wchar_t) == 2 ? Wide({0xD83D, 0xDE00}) : Wide({0x1F600}));
}

TEST(Utf8, InvalidSequencesBecomeReplacementCharactersAndTheRestIsKept) {
    // A byte that cannot start a character, a sequence cut short by an
    // ordinary character and one cut by the end, a continuation byte on its
    // own; a zero is a character like any other.
    const std::pair<std::string, std::wstring> cases[] = {
        {std::string("a\xFF") + "b", L"a" + kReplacement + L"b"},
        {std::string("a\xE2\x82") + "b", L"a" + kReplacement + L"b"},
        {"ab\xF0\x9F", L"ab" + kReplacement},
        {std::string("\x80") + "z", kReplacement + L"z"},
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
    };
    for (const auto& [bytes, text] : cases) EXPECT_EQ(Utf8ToWide(bytes), text);
    // Overlong forms, encoded surrogates and numbers beyond U+10FFFF are not
    // characters: however many replacements they give, nothing of them
    // passes as text and what follows is kept.
    for (const char* bad : {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"})
        EXPECT_TRUE(ReplacedThenX(Utf8ToWide(std::string(bad) + "x")));
}

TEST(Utf8, LoneSurrogateInWideTextBecomesAReplacementCharacter) {
    EXPECT_EQ(WideToUtf8(Wide({'a', 0xD800, 'b'})), std::string("a\xEF\xBF\xBD") + "b");
    EXPECT_EQ(WideToUtf8(Wide({'a', 0xDC00})), "a\xEF\xBF\xBD");
    if constexpr (sizeof(wchar_t) == 4) {
        EXPECT_EQ(WideToUtf8(Wide({0x110000})), "\xEF\xBF\xBD");
    }
}

TEST(Utf16Le, SurrogatePairsRoundTripAndAnOddLastByteIsDropped) {
    const std::wstring text = L"A" + kGrin + L"\u00E9";
    const std::vector<uint8_t> bytes = WideToUtf16Le(text);
    EXPECT_EQ(bytes, Bytes({0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE, 0xE9, 0x00}));
    EXPECT_EQ(Utf16LeToWide(bytes.data(), bytes.size()), text);
    EXPECT_EQ(Utf16LeToWide(bytes.data(), 3), L"A");
    EXPECT_EQ(Utf16LeToWide(nullptr, 0), L"");
    EXPECT_TRUE(WideToUtf16Le(L"").empty());
}

TEST(Utf16Le, LoneSurrogatesBecomeReplacementCharactersAndTheRestIsKept) {
    // A high surrogate before an ordinary character, a low one on its own, and
    // a high one at the very end.
    const std::vector<uint8_t> bytes = Bytes({0x3D, 0xD8, 0x41, 0x00, 0x00, 0xDE, 0x42, 0x00, 0x3D, 0xD8});
    EXPECT_EQ(Utf16LeToWide(bytes.data(), bytes.size()), kReplacement + L"A" + kReplacement + L"B" + kReplacement);
}

TEST(CaseHelpers, LowerCaseAndPrefixComparisonIgnoreCase) {
    EXPECT_EQ(ToLowerWide(L"VLC.EXE"), L"vlc.exe");
    EXPECT_TRUE(StartsWithNoCase(L"Chrome.exe", L"CHROME"));
    EXPECT_FALSE(StartsWithNoCase(L"Chr", L"Chrome"));
    EXPECT_TRUE(StartsWithNoCase(L"anything", L""));
}

}  // namespace
}  // namespace qv
