// The process's named mutexes over the simulated machine: a held handle is
// kept, a failure is traced only where a trace is given.
#include <gtest/gtest.h>

#include "core/trace.h"
#include "platform/sim/sim_platform.h"
#include "shell/named_mutex.h"

namespace qv {
namespace {

class NamedMutexTest : public testing::Test {
protected:
    void SetUp() override { SetPlatform(platform); }
    void TearDown() override { SetPlatform(nullptr); }

    CRefPtr<CSimPlatform> platform = MakeRef<CSimPlatform>();
};

TEST_F(NamedMutexTest, AHeldHandleIsKeptAndCreateMakesOnlyTheInstanceMarker) {
    CNamedMutex mutex(nullptr);
    EXPECT_EQ(mutex.Open(L"absent"), 0);
    EXPECT_EQ(mutex.Create(), 1);
    EXPECT_EQ(mutex.Name(), kInstanceMutexName);
    EXPECT_TRUE(platform->SimSync->MutexExists(kInstanceMutexName));
    EXPECT_FALSE(platform->SimSync->IsMutexOwned(kInstanceMutexName)) << "the marker is never owned";

    const auto calls = platform->SimJournal->Entries().size();
    EXPECT_EQ(mutex.Open(L"other"), 1);
    EXPECT_EQ(mutex.Create(), 1);
    EXPECT_EQ(platform->SimJournal->Entries().size(), calls) << "a held handle is not touched";
    EXPECT_EQ(mutex.Name(), kInstanceMutexName);
}

TEST_F(NamedMutexTest, AFailureIsTracedWithItsCodeOnlyWhenATraceIsOn) {
    auto target = MakeRef<CTraceFuncCallTarget>();
    target->GetTrace()->Enabled.store(true);
    target->GetTrace()->debugOutput = platform->SimDebugOutput;
    CNamedMutex traced(target);
    EXPECT_EQ(traced.Open(L"absent"), 0);
    platform->SimSync->FailOnce(L"CreateMutex", 5);
    EXPECT_EQ(traced.Create(), 0);
    CNamedMutex silent(nullptr);
    EXPECT_EQ(silent.Open(L"absent"), 0);

    const auto lines = platform->SimDebugOutput->Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find(L"Failed to create mutex with error code = 2\n"), std::wstring::npos);
    EXPECT_NE(lines[1].find(L"Failed to create mutex with error code = 5\n"), std::wstring::npos);
}

}  // namespace
}  // namespace qv
