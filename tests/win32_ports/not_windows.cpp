// Elsewhere the Windows ports do not exist; the program says so, rather than
// pass by having no test at all.
#include <gtest/gtest.h>

TEST(Win32Ports, RunOnlyOnWindows) {
    GTEST_SKIP() << "the Windows platform's ports are tested in the Windows build (under Wine here)";
}
