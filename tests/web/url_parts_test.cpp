// The address's parts, written out by hand, against the regular expression
// that they stand for: on short texts of the characters that matter, the two
// must agree on every part; on a long address, where the expression's engine
// would overflow its stack, the hand-written parts still come.
#include <optional>
#include <random>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "web/url_parts.h"

namespace qv {
namespace {

std::optional<UrlParts> ByRegex(const std::string& url) {
    static const std::regex regex(
        R"(^([a-z][a-z0-9+\-.]*):(?://(?:([^@]+)@)?([^/:]+)?(?::([^/]+))?)?(?:/([^\?#]*))?(?:\?([^#]+))?(?:#(.+))?)",
        std::regex::ECMAScript | std::regex::icase);
    std::smatch m;
    if (!std::regex_match(url, m, regex)) return std::nullopt;
    return UrlParts{m[1], m[2], m[3], m[4], m[5], m[6], m[7]};
}

std::string Describe(const std::optional<UrlParts>& parts) {
    if (!parts) return "no match";
    return "[" + parts->scheme + "|" + parts->userinfo + "|" + parts->host + "|" + parts->port + "|" + parts->path +
           "|" + parts->query + "|" + parts->fragment + "]";
}

TEST(UrlParts, AgreeWithTheRegularExpressionOnEveryShortText) {
    const std::string alphabet = "a:/@?#.1A-+\n";
    const std::string prefixes[] = {"", "h:", "h://", "Ab+1://"};
    std::mt19937 random(20261124);
    for (int i = 0; i < 100000; ++i) {
        std::string url = prefixes[random() % 4];
        for (std::size_t n = random() % 11; n > 0; --n) url += alphabet[random() % alphabet.size()];
        ASSERT_EQ(Describe(DecomposeUrl(url)), Describe(ByRegex(url))) << testing::PrintToString(url);
    }
}

TEST(UrlParts, ALongAddressIsTakenApartWithoutRecursion) {
    const std::string url = "https://user@www.example.com:8080/" + std::string(3000000, 'p') + "?v=" +
                            std::string(1000000, 'q') + "#f";
    const std::optional<UrlParts> parts = DecomposeUrl(url);
    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->host, "www.example.com");
    EXPECT_EQ(parts->port, "8080");
    EXPECT_EQ(parts->path.size(), 3000000u);
    EXPECT_EQ(VideoIdOfQuery(parts->query)->size(), 1000000u);
}

TEST(UrlParts, OnlyAFirstParameterVNamesTheVideo) {
    EXPECT_EQ(VideoIdOfQuery("v=abc&t=1"), "abc");
    EXPECT_EQ(VideoIdOfQuery("t=1&v=abc"), std::nullopt);
    EXPECT_EQ(VideoIdOfQuery("v=&t=1"), std::nullopt);
    EXPECT_EQ(VideoIdOfQuery("v="), std::nullopt);
}

}  // namespace
}  // namespace qv
