// The final paths that Windows gives PELTAK64, as it writes them into the
// interop file: the same text on every platform.
#include <gtest/gtest.h>

#include "core/text.h"
#include "peltak_command.h"

namespace qv {
namespace {

TEST(PeltakFinalPath, LosesTheLongPathPrefixAndGivesNetworkPathsTheirTwoBackslashes) {
    const std::pair<std::wstring, std::wstring> cases[] = {
        {LR"(\\?\C:\Movies\a.mp4)", LR"(C:\Movies\a.mp4)"},
        {LR"(\\?\UNC\server\share\b.mp3)", LR"(\\server\share\b.mp3)"},
        {LR"(\\?\)", L""},
        {LR"(C:\plain.wav)", LR"(C:\plain.wav)"},
        {LR"(\\?)", LR"(\\?)"},
    };
    for (const auto& [given, written] : cases)
        EXPECT_EQ(peltak::UserPathOfFinalPath(given), written) << WideToUtf8(given);
}

}  // namespace
}  // namespace qv
