// The native host's path as the manifest names it, from the program's path.
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "shell/native_host_path.h"

namespace qv {
namespace {

TEST(NativeHostPathTest, TheHostSitsBesideTheProgramAndItsBackslashesAreDoubledForJson) {
    const std::string folder255 = "\\" + std::string(253, 'd') + "\\";
    const std::string folder256 = "\\" + std::string(254, 'd') + "\\";
    struct Case {
        std::optional<std::string> program;
        NativeHostLayout layout;
        std::string inJson;
    };
    const Case cases[] = {
        {"C:\\A\\ContentClassifier.exe", kWindowsNativeHost, "C:\\\\A\\\\PELTAK64.exe"},
        {"C:\\Program Files\\Quorvane\\ContentClassifier.exe", kWindowsNativeHost,
         "C:\\\\Program Files\\\\Quorvane\\\\PELTAK64.exe"},
        {"\\\\server\\share\\ContentClassifier.exe", kWindowsNativeHost, "\\\\\\\\server\\\\share\\\\PELTAK64.exe"},
        {"C:ContentClassifier.exe", kWindowsNativeHost, "C:\\\\PELTAK64.exe"},
        {"ContentClassifier.exe", kWindowsNativeHost, "PELTAK64.exe"},
        {std::nullopt, kWindowsNativeHost, "PELTAK64.exe"},
        // The split's folder buffer holds 255 characters and the terminator.
        {"C:" + folder255 + "ContentClassifier.exe", kWindowsNativeHost,
         "C:" + std::string("\\\\") + std::string(253, 'd') + "\\\\PELTAK64.exe"},
        {"C:" + folder256 + "ContentClassifier.exe", kWindowsNativeHost, "PELTAK64.exe"},
        {"/usr/lib/quorvane/ContentClassifier", kLinuxNativeHost, "/usr/lib/quorvane/PELTAK64"},
        {"ContentClassifier", kLinuxNativeHost, "PELTAK64"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(DoubleBackslashes(NativeHostPath(c.program, c.layout)), c.inJson) << c.program.value_or("(none)");
}

TEST(NativeHostPathTest, OnlyTheFirstPlaceholderIsFilled) {
    EXPECT_EQ(FillManifestTemplate(R"({"path": "${NativeHostExePath}", "x": "${NativeHostExePath}"})", "C:\\\\h.exe"),
              R"({"path": "C:\\h.exe", "x": "${NativeHostExePath}"})");
    EXPECT_EQ(FillManifestTemplate("no placeholder", "p"), "no placeholder");
}

}  // namespace
}  // namespace qv
