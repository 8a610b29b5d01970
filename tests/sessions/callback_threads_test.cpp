// A platform thread that has locked a model object to post for it can end
// up holding the object's last reference, when the main thread lets go of
// the object meanwhile. The object must still end on the main thread: its
// end takes down subscriptions on other model objects, which belong there.
#include <atomic>
#include <chrono>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/thread_id.h"
#include "sessions/process_info.h"
#include "support/model_fixture.h"
#include "support/test_doubles.h"

namespace qv::test {
namespace {

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";
constexpr uint32_t kPlayer = 3000;

// The manager's dispatcher. Armed, it holds the first thread other than the
// main one that posts through it at the gate, inside the post: the poster
// has locked what it posts for and has not let go of it yet.
class GatedDispatcher : public CAddReleaseRef, public IAsyncActionDispatcher {
public:
    explicit GatedDispatcher(CRefPtr<IAsyncActionDispatcher> target) : m_target(std::move(target)) {}
    bool Post(const std::function<void()>& function) override {
        if (CurrentThreadId() != m_mainThread && Armed.exchange(false)) gate.Arrive();
        return m_target->Post(function);
    }
    std::atomic<bool> Armed{false};
    Gate gate;

private:
    const uint32_t m_mainThread = CurrentThreadId();
    CRefPtr<IAsyncActionDispatcher> m_target;
};

class CallbackThreadsTest : public ModelTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
        ASSERT_TRUE(Processes().StartProcess(kPlayer, L"C:\\Apps\\Player.exe"));
        id = Audio().AddSession(kSpeakers, {.processId = kPlayer, .state = AudioSessionStateActive, .announce = false});
        devices = StartDeviceManager({kSpeakers});
        Settle();
        gated = MakeRef<GatedDispatcher>(h.dispatcher);
        manager.Attach(new CAudioSessionManager(kSpeakers, h.trace, gated, h.log));
        manager->AudioDevice.set(FindDevice(*devices, kSpeakers));
        ASSERT_EQ(manager->activeAudioSessions.size(), 1u);
    }
    // The platform thread is at the gate: the main thread lets go of the
    // manager, then lets the platform thread go on, and runs what comes.
    void ReleaseTheManagerWhileHeld() {
        ASSERT_TRUE(gated->gate.WaitForArrival());
        manager = nullptr;
        gated->gate.Open();
    }
    // Whether the manager's destructor ran on this thread, by its trace line.
    bool ManagerEndedOnMainThread() const {
        const std::wstring here = L"[" + std::to_wstring(CurrentThreadId()) + L"]";
        for (const auto& line : h.TraceLines())
            if (line.find(L"{ CAudioSessionManager::~CAudioSessionManager") != std::wstring::npos)
                return line.find(here) != std::wstring::npos;
        return false;
    }
    bool ManagerEnded() const { return TraceCount(L"{ CAudioSessionManager::~CAudioSessionManager") == 1; }

    std::wstring id;
    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<GatedDispatcher> gated;
    CRefPtr<CAudioSessionManager> manager;
};

TEST_F(CallbackThreadsTest, AManagerHeldByASessionEventEndsOnTheMainThread) {
    gated->Armed = true;
    ASSERT_TRUE(Audio().SetSessionVolume(id, 0.5f));
    ReleaseTheManagerWhileHeld();
    ASSERT_TRUE(Audio().WaitUntilDelivered());
    ASSERT_TRUE(h.RunUntil([&] { return ManagerEnded(); }));
    EXPECT_TRUE(ManagerEndedOnMainThread());
    EXPECT_EQ(Audio().SessionEventsCount(id), 0u);
}

TEST_F(CallbackThreadsTest, AManagerHeldByAProcessExitEndsOnTheMainThread) {
    gated->Armed = true;
    ASSERT_TRUE(Processes().ExitProcess(kPlayer));
    ReleaseTheManagerWhileHeld();
    ASSERT_TRUE(h.RunUntil([&] { return ManagerEnded(); }));
    EXPECT_TRUE(ManagerEndedOnMainThread());
}

}  // namespace
}  // namespace qv::test
