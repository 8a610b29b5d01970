// The program's own device and session model on the real sound server,
// through the Linux platform: what the model makes of a real player.
#include "devices/audio_device_manager.h"
#include "platform/native.h"
#include "pulse_server_fixture.h"
#include "sessions/audio_session.h"
#include "sessions/audio_session_manager.h"
#include "sessions/process_info.h"
#include "support/main_thread_harness.h"
#include "test_child.h"

namespace qv::test {
namespace {

class PulseServerModelTest : public testing::Test {
protected:
    // The harness plays main on the simulated platform; the machine's own
    // platform then takes its place, so that the model meets the server.
    PulseServerModelTest() {
        CProcessInfo::ClearCache();
        SetPlatform(CreateNativePlatform());
    }
    ~PulseServerModelTest() override {
        sessions = nullptr;
        devices = nullptr;
        h.RunPending();
        CProcessInfo::ClearCache();
    }

    CRefPtr<CAudioDevice> StartDevices() {
        devices.Attach(new CAudioDeviceManager(h.trace, h.dispatcher, "", h.log));
        devices->Initialize({"spk"});
        for (const auto& device : devices->AudioDevices)
            if (device->EndpointId() == L"spk") return device;
        return nullptr;
    }

    MainThreadHarness h;
    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CAudioSessionManager> sessions;
};

TEST_F(PulseServerModelTest, DeviceMirrorsTheEndpointAndASessionFollowsARealPlayer) {
    CRefPtr<CAudioDevice> speakers = StartDevices();
    ASSERT_TRUE(speakers);
    ASSERT_TRUE(h.RunUntil([&] { return speakers->IsActive.value(); }));
    EXPECT_EQ(speakers->DataFlow.value(), eRender);
    EXPECT_TRUE(h.RunUntil([&] { return speakers->IsDefaultEndpoint.value(); }));
    EXPECT_TRUE(speakers->HasAutoPreset.value());
    EXPECT_EQ(speakers->AutoPresetFeatureMode.value(), 1u);
    EXPECT_EQ(speakers->ContentTypeName.value(), L"Movie");
    EXPECT_FALSE(speakers->EnableAutoPreset.value()) << "\"yes\" is of the wrong type";

    sessions.Attach(new CAudioSessionManager(L"spk", h.trace, h.dispatcher, h.log));
    sessions->AudioDevice.set(speakers);
    TestChild player({QV_TEST_CORKING_PLAYER, "spk", "--corked"});
    ASSERT_TRUE(player.ReadLine().has_value());
    ASSERT_TRUE(h.RunUntil([&] { return sessions->audioSessions.size() == 1; }));
    CRefPtr<CAudioSession> session = sessions->audioSessions[0];
    EXPECT_TRUE(sessions->activeAudioSessions.empty()) << "corked is inactive";
    EXPECT_EQ(session->SourceProcessID.value(), static_cast<uint32_t>(player.Pid()));

    ASSERT_TRUE(player.WriteLine("uncork"));
    ASSERT_TRUE(h.RunUntil([&] { return sessions->activeAudioSessions.size() == 1; }));
    ASSERT_TRUE(session->ProcessInfo.value()) << "an active session finds its process";
    EXPECT_EQ(session->ProcessInfo.value()->ImageName, L"qv_test_corking_player");

    player.CloseInput();
    ASSERT_TRUE(h.RunUntil([&] { return sessions->audioSessions.empty(); })) << "an expired session leaves";
}

}  // namespace
}  // namespace qv::test
