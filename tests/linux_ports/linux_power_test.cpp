// Suspend and resume from logind's PrepareForSleep signal, with a stand-in
// logind on the test's own bus.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include "platform/codes.h"
#include "platform/linux/linux_power.h"
#include "sound_server.h"
#include "support/callback_recorders.h"
#include "support/wait_until.h"

namespace qv {
namespace {

using namespace std::chrono_literals;
using test::FakePowerCallback;

std::wstring Type(uint32_t type) { return std::to_wstring(type); }

// A connection to the test bus that can own logind's name and speak as it.
class CFakeLogind {
public:
    explicit CFakeLogind(const std::string& address, const char* name = "org.freedesktop.login1") {
        if (sd_bus_new(&m_bus) < 0) return;
        sd_bus_set_address(m_bus, address.c_str());
        sd_bus_set_bus_client(m_bus, 1);
        m_ok = sd_bus_start(m_bus) >= 0 && (!name || sd_bus_request_name(m_bus, name, 0) >= 0);
    }
    ~CFakeLogind() { sd_bus_flush_close_unref(m_bus); }
    bool Ok() const { return m_ok; }
    bool PrepareForSleep(bool start) {
        return sd_bus_emit_signal(m_bus, "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
                                  "b", static_cast<int>(start)) >= 0 &&
               sd_bus_flush(m_bus) >= 0;
    }

private:
    sd_bus* m_bus = nullptr;
    bool m_ok = false;
};

TEST(LinuxPowerTest, SleepAndWakeOfLogindReachTheCallbacksOnTheBusThread) {
    const std::string address = test::SoundServer::Get().BusAddress();
    ASSERT_FALSE(address.empty());
    // Declared first, gone last: the port keeps bare pointers to them, and
    // its bus thread ends with the port.
    FakePowerCallback first, second;
    auto power = MakeRef<CLinuxPower>(address);
    HPOWERNOTIFY one = 0, two = 0;
    ASSERT_EQ(power->PowerRegisterSuspendResumeNotification(&first, one), 0u);
    ASSERT_EQ(power->PowerRegisterSuspendResumeNotification(&second, two), 0u);
    EXPECT_NE(one, two);

    CFakeLogind logind(address);
    ASSERT_TRUE(logind.Ok());
    ASSERT_TRUE(logind.PrepareForSleep(true));
    ASSERT_TRUE(logind.PrepareForSleep(false));
    const std::vector<std::wstring> both{Type(PBT_APMSUSPEND), Type(PBT_APMRESUMEAUTOMATIC)};
    ASSERT_TRUE(first.Log.WaitFor([&](const auto& calls) { return calls == both; }, 10s));
    ASSERT_TRUE(second.Log.WaitFor([&](const auto& calls) { return calls == both; }, 10s));
    for (auto thread : first.Log.Threads()) EXPECT_NE(thread, std::this_thread::get_id());

    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(one), 0u);
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(one), ERROR_INVALID_HANDLE);
    ASSERT_TRUE(logind.PrepareForSleep(true));
    ASSERT_TRUE(second.Log.WaitFor([](const auto& calls) { return calls.size() == 3; }, 10s));
    EXPECT_EQ(first.Log.Calls().size(), 2u) << "no call after the unregistration";
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(two), 0u);
}

TEST(LinuxPowerTest, OnlyLogindIsBelievedAndUnregisteringWaitsForARunningCall) {
    const std::string address = test::SoundServer::Get().BusAddress();
    FakePowerCallback callback;  // outlives the port, as above
    std::atomic<bool> inCall{false}, finished{false};
    auto power = MakeRef<CLinuxPower>(address);
    callback.During = [&] {
        inCall = true;
        // The fake's own timing: a call long enough that an unregistration
        // that did not wait for it would return first.
        std::this_thread::sleep_for(100ms);
        finished = true;
    };
    HPOWERNOTIFY registration = 0;
    ASSERT_EQ(power->PowerRegisterSuspendResumeNotification(&callback, registration), 0u);

    CFakeLogind impostor(address, nullptr);
    ASSERT_TRUE(impostor.Ok());
    ASSERT_TRUE(impostor.PrepareForSleep(true));
    CFakeLogind logind(address);
    ASSERT_TRUE(logind.Ok());
    ASSERT_TRUE(logind.PrepareForSleep(false));
    ASSERT_TRUE(test::WaitUntil([&] { return inCall.load(); })) << "logind's signal never reached the callback";
    EXPECT_EQ(power->PowerUnregisterSuspendResumeNotification(registration), 0u);
    EXPECT_TRUE(finished) << "the unregistration returned while the call still ran";
    EXPECT_EQ(callback.Log.Calls(), (std::vector<std::wstring>{Type(PBT_APMRESUMEAUTOMATIC)}))
        << "a signal from anyone but logind is ignored";
}

TEST(LinuxPowerTest, WithoutABusRegistrationIsNotSupported) {
    auto power = MakeRef<CLinuxPower>("unix:path=" + test::SoundServer::Get().Folder() + "/no-bus");
    FakePowerCallback callback;
    HPOWERNOTIFY registration = 7;
    testing::internal::CaptureStderr();
    EXPECT_EQ(power->PowerRegisterSuspendResumeNotification(&callback, registration), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(power->PowerRegisterSuspendResumeNotification(&callback, registration), ERROR_NOT_SUPPORTED);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(registration, 0u);
    // Once per process: an earlier port may have said it already.
    EXPECT_LE(std::count(said.begin(), said.end(), '\n'), 1) << said;
    if (!said.empty()) {
        EXPECT_NE(said.find("power events are unavailable"), std::string::npos) << said;
    }
    EXPECT_EQ(power->PowerRegisterSuspendResumeNotification(nullptr, registration), ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace qv
