// The main of every test program. It ends with one line that the Wine runner
// looks for: a program that dies early (an unimplemented function under Wine
// crashes and may still exit 0) never prints it.
#include <cstdio>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    int rc = RUN_ALL_TESTS();
    const auto* unit = testing::UnitTest::GetInstance();
    std::printf("QV-TESTS-COMPLETE passed=%d failed=%d skipped=%d rc=%d\n", unit->successful_test_count(),
                unit->failed_test_count(), unit->skipped_test_count(), rc);
    std::fflush(stdout);
    return rc;
}
