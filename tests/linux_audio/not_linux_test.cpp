// The Linux ports exist only in the Linux build.
#include <gtest/gtest.h>

TEST(LinuxAudioTest, NeedsLinux) { GTEST_SKIP() << "the Linux audio, process and sync ports exist only on Linux"; }
