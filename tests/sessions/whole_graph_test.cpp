// The whole object graph as main builds it (the device manager, a classifier
// per endpoint with its session managers, the sessions and the shared
// processes, on a machine with a browser and a call) has to come down
// completely while the machine is still talking.
#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "platform/codes.h"
#include "support/model_fixture.h"

namespace qv::test {
namespace {

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";
const std::wstring kMicrophone = L"{0.0.1.00000000}.{microphone}";

constexpr uint32_t kExplorer = 500;
constexpr uint32_t kChrome = 1000;
constexpr uint32_t kChromeAudio = 1200;
constexpr uint32_t kCaller = 1300;

class WholeGraphTest : public ModelTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
        ASSERT_TRUE(Audio().AddEndpoint(kMicrophone, eCapture));
        ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eMultimedia, kSpeakers));
        ASSERT_TRUE(Processes().StartProcess(kExplorer, L"C:\\Windows\\explorer.exe"));
        ASSERT_TRUE(Processes().StartProcess(kChrome, L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe",
                                             kExplorer));
        ASSERT_TRUE(Processes().StartProcess(kChromeAudio,
                                             L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe", kChrome));
        ASSERT_TRUE(Processes().StartProcess(kCaller, L"C:\\Apps\\Zoom\\Zoom.exe", kExplorer));
        sessions = {
            Audio().AddSession(kSpeakers, {.processId = kChromeAudio, .state = AudioSessionStateActive}),
            Audio().AddSession(kSpeakers, {.processId = kCaller, .state = AudioSessionStateActive}),
            Audio().AddSession(kSpeakers, {.processId = kCaller}),
            Audio().AddSession(kMicrophone, {.processId = kCaller, .state = AudioSessionStateActive}),
        };
        // A host that is never there: the classifiers build their session
        // managers, and without the automatic preset they never call it.
        manager = StartDeviceManager({kSpeakers}, "qv-model-tests-no-host");
        Settle();
    }

    // True once the model holds no registration of the machine any more.
    bool LetGoOfTheMachine() {
        if (Audio().EndpointClientCount() != 0 || Power().RegistrationCount() != 0) return false;
        if (Audio().SessionNotificationCount(kSpeakers) != 0 || Audio().SessionNotificationCount(kMicrophone) != 0)
            return false;
        for (const auto& id : sessions)
            if (Audio().SessionEventsCount(id) != 0) return false;
        return true;
    }

    std::vector<std::wstring> sessions;
    CRefPtr<CAudioDeviceManager> manager;
};

TEST_F(WholeGraphTest, TheManagerGoesWhileTheMachineIsStillTalking) {
    std::atomic<bool> stop{false};
    std::thread machine([&] {
        // Every kind of event the model listens to, as fast as it goes.
        for (int round = 0; !stop.load(); ++round) {
            const float volume = static_cast<float>(round % 100) / 100.0f;
            for (const auto& id : sessions) {
                Audio().SetSessionVolume(id, volume);
                Audio().SetSessionDisplayName(id, L"name " + std::to_wstring(round));
            }
            Audio().SetSessionState(sessions[2], round % 2 ? AudioSessionStateActive : AudioSessionStateInactive);
            Audio().SetEndpointProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyUi4(0));
            Audio().SetDefaultEndpoint(eRender, eMultimedia, kSpeakers);
            if (round % 10 == 0) {
                Audio().AddSession(kSpeakers, {.processId = kCaller, .state = AudioSessionStateActive});
                Power().SendPowerEvent(10);
            }
            // The machine's own pace: events keep coming while the model
            // runs and while it lets go of the manager.
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    h.RunFor(std::chrono::milliseconds(100));
    manager = nullptr;
    h.RunFor(std::chrono::milliseconds(100));
    stop = true;
    machine.join();

    EXPECT_TRUE(h.RunUntil([&] { return LetGoOfTheMachine(); }));
    Settle();
}

}  // namespace
}  // namespace qv::test
