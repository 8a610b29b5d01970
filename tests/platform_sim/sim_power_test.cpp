// The registration handles of the simulated power notifications. What the
// callbacks hear, and a registration that fails, are checked by the model's
// tests in tests/devices.
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/sim/sim_power.h"
#include "support/callback_recorders.h"

namespace qv::test {
namespace {

TEST(SimPower, EachRegistrationHasAHandleOfItsOwnAndUnknownHandlesAreRefused) {
    FakePowerCallback callback;  // outlives the machine, which ends its threads as it goes
    CRefPtr<CSimPower> power = MakeRef<CSimPower>();
    HPOWERNOTIFY first = 0, second = 0;
    ASSERT_EQ(power->PowerRegisterSuspendResumeNotification(&callback, first), ERROR_SUCCESS);
    ASSERT_EQ(power->PowerRegisterSuspendResumeNotification(&callback, second), ERROR_SUCCESS);
    EXPECT_NE(first, 0u);
    EXPECT_NE(first, second);
    EXPECT_EQ(power->PowerRegisterSuspendResumeNotification(nullptr, second), ERROR_INVALID_PARAMETER);

    ASSERT_EQ(power->PowerUnregisterSuspendResumeNotification(first), ERROR_SUCCESS);
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(first), ERROR_INVALID_HANDLE);
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(0), ERROR_INVALID_HANDLE);
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(12345), ERROR_INVALID_HANDLE);
    EXPECT_EQ(power->RegistrationCount(), 1u);
}

}  // namespace
}  // namespace qv::test
