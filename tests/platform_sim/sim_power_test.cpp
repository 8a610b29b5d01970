// Suspend and resume as the registered callbacks hear them.
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/sim/sim_power.h"
#include "support/callback_recorders.h"

namespace qv::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Ne;

class SimPower : public ::testing::Test {
protected:
    // The machine keeps a bare pointer to a registered callback: its threads
    // end before the callback goes, however the test ended.
    void TearDown() override { power->Shutdown(); }

    CRefPtr<CSimPower> power = MakeRef<CSimPower>();
    FakePowerCallback callback;
};

TEST_F(SimPower, EachRegistrationHearsSuspendAndResumeInOrderFromAnotherThread) {
    HPOWERNOTIFY first = 0, second = 0;
    ASSERT_EQ(power->PowerRegisterSuspendResumeNotification(&callback, first), ERROR_SUCCESS);
    ASSERT_EQ(power->PowerRegisterSuspendResumeNotification(&callback, second), ERROR_SUCCESS);
    EXPECT_NE(first, 0u);
    EXPECT_NE(first, second);
    power->Suspend();
    ASSERT_TRUE(power->WaitUntilDelivered());
    EXPECT_THAT(callback.Log.Calls(), ElementsAre(L"4", L"4"));

    ASSERT_EQ(power->PowerUnregisterSuspendResumeNotification(first), ERROR_SUCCESS);
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(first), ERROR_INVALID_HANDLE);
    power->Resume();
    power->SendPowerEvent(10);
    ASSERT_TRUE(power->WaitUntilDelivered());
    EXPECT_THAT(callback.Log.Calls(), ElementsAre(L"4", L"4", L"18", L"10"));
    EXPECT_THAT(callback.Log.Threads(), Each(Ne(std::this_thread::get_id())));
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(second), ERROR_SUCCESS);
}

TEST_F(SimPower, RegistrationCanFailAndUnknownHandlesAreRefused) {
    HPOWERNOTIFY registration = 99;
    power->FailOnce(L"PowerRegisterSuspendResumeNotification", ERROR_ACCESS_DENIED);
    EXPECT_EQ(power->PowerRegisterSuspendResumeNotification(&callback, registration), ERROR_ACCESS_DENIED);
    EXPECT_EQ(registration, 0u);
    EXPECT_EQ(power->RegistrationCount(), 0u);
    power->Suspend();
    ASSERT_TRUE(power->WaitUntilDelivered());
    EXPECT_TRUE(callback.Log.Calls().empty());

    EXPECT_EQ(power->PowerRegisterSuspendResumeNotification(nullptr, registration), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(0), ERROR_INVALID_HANDLE);
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(12345), ERROR_INVALID_HANDLE);
}

}  // namespace
}  // namespace qv::test
