// The Linux ports exist only in the Linux build.
#include <gtest/gtest.h>

TEST(LinuxAudioTest, NeedsLinux) { GTEST_SKIP() << "the Linux audio port exists only on Linux"; }
