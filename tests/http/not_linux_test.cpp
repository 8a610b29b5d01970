// The libcurl HTTP port exists only in the Linux build.
#include <gtest/gtest.h>

TEST(LinuxHttpTest, NeedsLinux) { GTEST_SKIP() << "the libcurl HTTP port exists only on Linux"; }
