// The Windows power port: registration of suspend and resume callbacks, which
// no test can make the system send (under Wine a registration is accepted and nothing ever comes).
#include <gtest/gtest.h>

#include "platform/win32/windows_api.h"
#include "win32_ports_support.h"

namespace qv {
namespace {

using test::Win32Platform;

class NeverCalled : public ISuspendResumeCallback {
public:
    uint32_t PowerSuspendResumeNotification(uint32_t, const void*) override {
        ADD_FAILURE() << "no power event can come during a test";
        return 0;
    }
};

TEST(Win32Power, SuspendResumeRegistrationComesAndGoes) {
    CRefPtr<IPower> power = Win32Platform()->Power();
    ASSERT_EQ(power, Win32Platform()->Power()) << "registrations live in one object";
    HPOWERNOTIFY registration = 1;
    EXPECT_EQ(power->PowerRegisterSuspendResumeNotification(nullptr, registration),
              static_cast<Win32Error>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(registration, 0u);

    NeverCalled callback;
    ASSERT_EQ(power->PowerRegisterSuspendResumeNotification(&callback, registration), 0u);
    EXPECT_NE(registration, 0u);
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(registration), 0u);
}

}  // namespace
}  // namespace qv
