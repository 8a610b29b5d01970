// The command line: "/key=value" elements, everything else ignored, and the
// comma-separated endpoint list.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "shell/arguments.h"

namespace qv {
namespace {

using Strings = std::vector<std::string>;

TEST(Arguments, KeysAndValuesOfEveryMatchingElementTheFirstIncluded) {
    const ArgumentTable table = ParseArguments({"C:\\ContentClassifier.exe", "/host-pipe-name=Host.Pipe",
                                                "/endpoint-id=a,b", "/key==a=b= ", "/spaced key=with spaces"});
    // The value runs to the end and may hold further equal signs.
    EXPECT_EQ(table, (ArgumentTable{{"host-pipe-name", "Host.Pipe"},
                                    {"endpoint-id", "a,b"},
                                    {"key", "=a=b= "},
                                    {"spaced key", "with spaces"}}));
    EXPECT_EQ(ArgumentValue(table, kHostPipeNameKey), "Host.Pipe");
    EXPECT_EQ(ArgumentValue(table, "missing"), "");
    EXPECT_EQ(ParseArguments({"/opt/odd=path/ContentClassifier"}),
              (ArgumentTable{{"opt/odd", "path/ContentClassifier"}}));
    EXPECT_TRUE(ParseArguments({}).empty());
    EXPECT_TRUE(ParseArguments({"prog"}).empty());
}

TEST(Arguments, LastOfARepeatedKeyWinsAndKeysAreCaseSensitive) {
    const ArgumentTable table =
        ParseArguments({"prog", "/host-pipe-name=first", "/Host-Pipe-Name=other", "/host-pipe-name=last"});
    EXPECT_EQ(ArgumentValue(table, "host-pipe-name"), "last");
    EXPECT_EQ(ArgumentValue(table, "Host-Pipe-Name"), "other");
    EXPECT_EQ(table.size(), 2u);
}

TEST(Arguments, ElementsThatDoNotMatchAreIgnored) {
    const ArgumentTable table = ParseArguments(
        {"prog", "/key=", "/=value", "key=value", " /key=value", "-key=value", "/key", "/", "", "/=", "//=x"});
    // Only the last one matches: its key is "/".
    EXPECT_EQ(table, (ArgumentTable{{"/", "x"}}));
}

TEST(EndpointIds, SplitAtCommasAsARegularExpressionSplitGivesThePieces) {
    EXPECT_EQ(SplitEndpointIds("a,b"), (Strings{"a", "b"}));
    EXPECT_EQ(SplitEndpointIds("{0.0.0.00000000}.{1d}"), (Strings{"{0.0.0.00000000}.{1d}"}));
    // Empty pieces inside and in front stay; a trailing one does not.
    EXPECT_EQ(SplitEndpointIds("a,,b"), (Strings{"a", "", "b"}));
    EXPECT_EQ(SplitEndpointIds(",a"), (Strings{"", "a"}));
    EXPECT_EQ(SplitEndpointIds("a,"), (Strings{"a"}));
    // "/endpoint-id=" does not match, so the key is absent and its value empty.
    EXPECT_TRUE(SplitEndpointIds(ArgumentValue(ParseArguments({"prog", "/endpoint-id="}), kEndpointIdKey)).empty());
}

}  // namespace
}  // namespace qv
