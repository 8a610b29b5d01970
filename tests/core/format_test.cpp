// The system's own printf-style format strings must mean the same on every
// platform: "%s" takes wide text in a wide format, the length modifiers cut
// as the C library does, and GUIDs print the way the platform prints them.
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "core/format.h"
#include "platform/types.h"

namespace qv {
namespace {

TEST(FormatW, WideTextIntegersAndFloatingPoint) {
    EXPECT_EQ(FormatW(L"EndpointId = %s\n", std::wstring(L"{0.0.0.00000000}.{a-b}")),
              L"EndpointId = {0.0.0.00000000}.{a-b}\n");
    EXPECT_EQ(FormatW(L"[%s]", L"\u00E9t\u00E9"), L"[\u00E9t\u00E9]");
    EXPECT_EQ(FormatW(L"%i|%i|%i", 0, -17, INT32_MAX), L"0|-17|2147483647");
    EXPECT_EQ(FormatW(L"State = %i.\n", static_cast<uint32_t>(1)), L"State = 1.\n");
    EXPECT_EQ(FormatW(L"duration = %f", 1.5), L"duration = 1.500000");
    EXPECT_EQ(FormatW(L"%f", 44.1f), L"44.099998");
    EXPECT_EQ(FormatW(L"[%.03f] ", 2.0 / 3.0), L"[0.667] ");
    EXPECT_EQ(FormatW(L"[%.03f] ", 12.0), L"[12.000] ");
}

TEST(FormatW, LengthModifiersCutToTheirSizeAsTheKeyFormatNeedsThem) {
    EXPECT_EQ(FormatW(L"%hhX", 0x1AB), L"AB");
    EXPECT_EQ(FormatW(L"%02hhX", static_cast<uint8_t>(0x0A)), L"0A");
    EXPECT_EQ(FormatW(L"%hX", 0x12345), L"2345");
    EXPECT_EQ(FormatW(L"%04hX", static_cast<uint16_t>(0xA)), L"000A");
    EXPECT_EQ(FormatW(L"%08lX", static_cast<uint32_t>(0xABCDEF)), L"00ABCDEF");
    EXPECT_EQ(FormatW(L"%08lX", static_cast<uint32_t>(0xFFFFFFFFu)), L"FFFFFFFF");

    // The endpoint notification's line for a property key, braces and all.
    const GUID key{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}};
    EXPECT_EQ(FormatW(L"Key = {{%08lX-%04hX-%04hX-%02hhX%02hhX-%02hhX%02hhX%02hhX%02hhX%02hhX%02hhX}, %i}\n", key.Data1,
                      key.Data2, key.Data3, key.Data4[0], key.Data4[1], key.Data4[2], key.Data4[3], key.Data4[4],
                      key.Data4[5], key.Data4[6], key.Data4[7], 14),
              L"Key = {{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}, 14}\n");
}

TEST(FormatW, BufferSizeCutsTheTextAndAMalformedFormatGivesTheFormatItself) {
    EXPECT_EQ(FormatWInto(5, L"%s", std::wstring(L"abcdefgh")), L"abcd");
    EXPECT_EQ(FormatWInto(0, L"%s", std::wstring(L"abcdefgh")), L"abcdefgh");
    EXPECT_EQ(FormatW(L"%i and %i", 1), L"%i and %i");
    EXPECT_EQ(FormatA("%s-%i", "narrow", 3), "narrow-3");
    // Pointers as the trace shows them: sixteen upper-case hex digits.
    EXPECT_EQ(PointerArgument(nullptr), L"0x0000000000000000");
    EXPECT_EQ(PointerArgument(reinterpret_cast<const void*>(uintptr_t{0xABCDEF12})), L"0x00000000ABCDEF12");
}

TEST(Guid, PrintsUpperCaseInBracesAndReadsBackInAnyCase) {
    const GUID guid{0x3BD7F352, 0xC47B, 0x4954, {0xBF, 0x81, 0x92, 0x2D, 0x8C, 0x71, 0x9A, 0x2E}};
    EXPECT_EQ(GuidToString(guid), L"{3BD7F352-C47B-4954-BF81-922D8C719A2E}");
    EXPECT_EQ(GuidToString(GUID{}), L"{00000000-0000-0000-0000-000000000000}");

    GUID read;
    ASSERT_TRUE(GuidFromString(L"{3BD7F352-C47B-4954-BF81-922D8C719A2E}", read));
    EXPECT_EQ(read, guid);
    GUID lower;
    ASSERT_TRUE(GuidFromString(L"3bd7f352-c47b-4954-bf81-922d8c719a2e", lower));
    EXPECT_EQ(lower, guid);
}

TEST(Guid, RejectsMalformedText) {
    GUID guid{};
    for (const wchar_t* bad :
         {L"", L"{}", L"3BD7F352-C47B-4954-BF81-922D8C719A2", L"{3BD7F352-C47B-4954-BF81-922D8C719A2E",
          L"3BD7F352xC47B-4954-BF81-922D8C719A2E", L"3BD7F352-C47B-4954-BF81-922D8C719A2G",
          L"{3BD7F352-C47B-4954-BF81-922D8C719A2EE}", L" 3BD7F352-C47B-4954-BF81-922D8C719A2E"}) {
        EXPECT_FALSE(GuidFromString(bad, guid)) << "accepted: " << std::string(bad, bad + std::wcslen(bad));
    }
}

}  // namespace
}  // namespace qv
