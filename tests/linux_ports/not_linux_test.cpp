// The Linux ports exist only in the Linux build.
#include <gtest/gtest.h>

TEST(LinuxPortsTest, NeedsLinux) {
    GTEST_SKIP() << "the Linux file, power, process and sync ports exist only on Linux";
}
