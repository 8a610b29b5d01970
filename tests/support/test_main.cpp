// The main of every test program. It ends with one line that the Wine runner
// looks for: a program that dies early (an unimplemented function under Wine
// crashes and may still exit 0) never prints it.
#include <cstdio>
#include <cstdlib>
#include <string>

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

#include <gmock/gmock.h>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Pipe names are machine-wide: without a namespace of its own, a test's
    // pipe server would also hear the classifiers of the test programs and
    // tools that run beside it. Children inherit it.
    if (!std::getenv("QUORVANE_PIPE_NAMESPACE")) {
#ifdef _WIN32
        const std::string ns = "qvtest-" + std::to_string(_getpid());
        _putenv_s("QUORVANE_PIPE_NAMESPACE", ns.c_str());
#else
        const std::string ns = "qvtest-" + std::to_string(getpid());
        setenv("QUORVANE_PIPE_NAMESPACE", ns.c_str(), 1);
#endif
    }
    testing::InitGoogleMock(&argc, argv);
    int rc = RUN_ALL_TESTS();
    const auto* unit = testing::UnitTest::GetInstance();
    std::printf("QV-TESTS-COMPLETE passed=%d failed=%d skipped=%d rc=%d\n", unit->successful_test_count(),
                unit->failed_test_count(), unit->skipped_test_count(), rc);
    std::fflush(stdout);
    return rc;
}
