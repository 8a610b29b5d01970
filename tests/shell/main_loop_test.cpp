// The main loop: message 1124 carries a function that runs inside
// DispatchLock, in the order of posting, never nested; the quit message ends
// the loop; what is left in the queue is dropped and freed.
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/portable_message_loop.h"
#include "shell/main_loop.h"

namespace qv {
namespace {

class MainLoopTest : public testing::Test {
protected:
    CRefPtr<CPortableMessageLoop> queue = MakeRef<CPortableMessageLoop>();
    CMainLoop mainLoop{queue};
    CAsyncActionDispatcher::PostingFunction post = mainLoop.PostingFunction();

    bool PostQuit() { return queue->PostThreadMessage(kQuitMessage, 0, 0); }

    // Whether another thread could take DispatchLock right now.
    bool DispatchLockIsFree() {
        bool free = false;
        std::thread probe([&] {
            free = mainLoop.DispatchLock.try_lock();
            if (free) mainLoop.DispatchLock.unlock();
        });
        probe.join();
        return free;
    }
};

TEST_F(MainLoopTest, PostedFunctionsRunInOrderInsideDispatchLockAndOnePostedByAnotherRunsLaterNeverNested) {
    std::vector<std::string> seen;
    int depth = 0;
    auto note = [&](const std::string& name) {
        seen.push_back(name + "@" + std::to_string(depth) + (DispatchLockIsFree() ? ":free" : ":held"));
    };
    post([&] {
        ++depth;
        note("outer start");
        post([&] {
            ++depth;
            note("inner");
            PostQuit();
            --depth;
        });
        note("outer end");
        --depth;
    });
    post([&] { note("queued earlier"); });

    EXPECT_EQ(mainLoop.Run(), 3u);
    EXPECT_EQ(seen, (std::vector<std::string>{"outer start@1:held", "outer end@1:held", "queued earlier@0:held",
                                              "inner@1:held"}));
    EXPECT_TRUE(DispatchLockIsFree());
}

TEST_F(MainLoopTest, PostedFunctionTravelsAsMessage1124AndOtherMessagesDoNoHarm) {
    ASSERT_TRUE(post([] {}));
    LoopMessage message;
    ASSERT_TRUE(queue->GetMessageFor(message, std::chrono::milliseconds(0)));
    EXPECT_EQ(message.message, 1124u);
    EXPECT_EQ(message.wParam, 0u);
    ASSERT_NE(message.lParam, 0);
    delete reinterpret_cast<std::function<void()>*>(message.lParam);

    int ran = 0;
    queue->PostThreadMessage(0x401, 7, 9);
    queue->PostThreadMessage(kPostedFunctionMessage, 0, 0);  // without a function
    post([&] { ++ran; });
    PostQuit();
    EXPECT_EQ(mainLoop.Run(), 3u);
    EXPECT_EQ(ran, 1);
}

TEST(MainLoopEnd, QuitEndsTheLoopAndLeftMessagesAreDroppedWithTheirFunctionsFreed) {
    auto token = std::make_shared<int>(0);
    bool ranAfterQuit = false;
    {
        CRefPtr<CPortableMessageLoop> queue = MakeRef<CPortableMessageLoop>();
        CMainLoop mainLoop(queue);
        auto post = mainLoop.PostingFunction();
        post([] {});
        queue->PostThreadMessage(kQuitMessage, 0, 0);
        post([token, &ranAfterQuit] { ranAfterQuit = true; });
        EXPECT_GT(token.use_count(), 1) << "the queued copy holds the token";

        EXPECT_EQ(mainLoop.Run(), 1u);
        EXPECT_FALSE(ranAfterQuit);
        EXPECT_EQ(queue->QueuedCount(), 1u);
    }
    // The queue went with the loop, and the copy of the function with it.
    EXPECT_FALSE(ranAfterQuit);
    EXPECT_EQ(token.use_count(), 1);
}

TEST_F(MainLoopTest, CloseFreesWhatIsQueuedAndARefusedPostFreesItsCopy) {
    auto queued = std::make_shared<int>(0);
    EXPECT_TRUE(post([queued] {}));
    queue->Close();
    EXPECT_EQ(queued.use_count(), 1) << "a closed loop still held a queued function";
    auto token = std::make_shared<int>(0);
    EXPECT_FALSE(post([token] {}));
    EXPECT_EQ(token.use_count(), 1);
    EXPECT_EQ(queue->QueuedCount(), 0u);
}

TEST_F(MainLoopTest, WatcherThatHasEndedStopsTheLoopAfterTheNextMessage) {
    int ran = 0;
    post([&] { ++ran; });
    post([&] { ++ran; });
    int asked = 0;
    EXPECT_EQ(mainLoop.Run([&] { return ++asked == 1; }), 1u);
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(queue->QueuedCount(), 1u);
    PostQuit();
    EXPECT_EQ(mainLoop.Run(), 1u);
    EXPECT_EQ(ran, 2);
}

TEST_F(MainLoopTest, EmptyPostedFunctionRaisesBadFunctionCall) {
    post(std::function<void()>());
    EXPECT_THROW(mainLoop.Run(), std::bad_function_call);
}

}  // namespace
}  // namespace qv
