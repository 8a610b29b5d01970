// The whole life of the process on the simulated platform: start, turn the
// loop until the quit message, stop with exit code 0.
#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "devices/audio_device_manager.h"
#include "platform/sim/sim_platform.h"
#include "platform/thread_id.h"
#include "shell/entry.h"
#include "shell/main_loop.h"
#include "support/wait_until.h"

namespace qv {
namespace {

class EntryTest : public testing::Test {
protected:
    void SetUp() override { SetPlatform(platform); }
    void TearDown() override { SetPlatform(nullptr); }

    void SwitchTracingOn() {
        platform->SimRegistry->SetDword(RegistryRoot::LocalMachine, L"Software\\Quorvane\\Logging\\APO", L"MIRADO", 1);
    }

    // Index of the first trace line that contains the text, or -1.
    int LineWith(const std::wstring& text) const {
        const auto lines = platform->SimDebugOutput->Lines();
        for (std::size_t i = 0; i < lines.size(); ++i)
            if (lines[i].find(text) != std::wstring::npos) return static_cast<int>(i);
        return -1;
    }

    CRefPtr<CSimPlatform> platform = MakeRef<CSimPlatform>();
};

TEST_F(EntryTest, QuitPostedWhenTheLoopIsReadyEndsTheRunWithZeroAndWhatFollowsItIsDroppedAndFreed) {
    SwitchTracingOn();
    bool ranInLoop = false;
    uint32_t ranOn = 0;
    auto token = std::make_shared<int>(0);
    bool ranAfterQuit = false;
    EntryHooks hooks;
    // Whether the device manager lives at each call of graphReady and after
    // the run; while it lives its notification client is the audio port's.
    CWeakRefPtr<CAudioDeviceManager> manager;
    std::vector<bool> lives;
    hooks.graphReady = [&](CAudioDeviceManager* built) {
        if (built) manager = CWeakRefPtr<CAudioDeviceManager>(built);
        lives.push_back(manager.Lock() && platform->SimAudio->EndpointClientCount() == 1);
    };
    hooks.loopReady = [&](const CRefPtr<IMessageLoop>& loop) {
        PostFunctionMessage(*loop, [&] {
            ranInLoop = true;
            ranOn = CurrentThreadId();
        });
        loop->PostThreadMessage(kQuitMessage, 0, 0);
        PostFunctionMessage(*loop, [token, &ranAfterQuit] { ranAfterQuit = true; });
    };

    EXPECT_EQ(RunContentClassifier({"ContentClassifier.exe"}, hooks), 0);
    lives.push_back(static_cast<bool>(manager.Lock()));
    // Built on the trace before the loop turns, released once it has ended.
    EXPECT_EQ(lives, (std::vector<bool>{true, true, false}));
    EXPECT_GE(LineWith(L"{ CAudioDeviceManager::CAudioDeviceManager("), 0);

    EXPECT_TRUE(ranInLoop);
    EXPECT_EQ(ranOn, CurrentThreadId()) << "posted functions run on the thread that called main";
    EXPECT_EQ(MainThreadId(), CurrentThreadId());

    const int entering = LineWith(L"Entering the message loop.\n");
    const int ended = LineWith(L"The message loop has ended after 1 messages; stopping.\n");
    EXPECT_GE(entering, 0);
    EXPECT_GT(ended, entering);
    for (const std::wstring& line : platform->SimDebugOutput->Lines()) {
        EXPECT_EQ(line.rfind(L"MIRADO{", 0), 0u) << "every line carries the prefix";
    }

    // The queue goes with the last holder of the loop; a worker thread of the
    // model that is still winding down may be that holder for a moment.
    test::WaitUntil([&] { return token.use_count() == 1; });
    EXPECT_EQ(token.use_count(), 1) << "the dropped function was never freed";
    EXPECT_FALSE(ranAfterQuit);
}

TEST_F(EntryTest, WithoutTheRegistrySwitchNothingIsTraced) {
    EntryHooks hooks;
    hooks.loopReady = [](const CRefPtr<IMessageLoop>& loop) { loop->PostThreadMessage(kQuitMessage, 0, 0); };
    EXPECT_EQ(RunContentClassifier({"ContentClassifier.exe", "/host-pipe-name=nobody"}, hooks), 0);
    EXPECT_TRUE(platform->SimDebugOutput->Lines().empty());
}

}  // namespace
}  // namespace qv
