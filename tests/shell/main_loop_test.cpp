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

TEST_F(MainLoopTest, PostedFunctionsRunInOrderInsideDispatchLock) {
    std::vector<std::string> seen;
    for (const char* name : {"one", "two", "three"}) {
        ASSERT_TRUE(post([&, name] { seen.push_back(std::string(name) + (DispatchLockIsFree() ? ":free" : ":held")); }));
    }
    PostQuit();

    EXPECT_EQ(mainLoop.Run(), 3u);
    EXPECT_EQ(seen, (std::vector<std::string>{"one:held", "two:held", "three:held"}));
    EXPECT_TRUE(DispatchLockIsFree());
}

TEST_F(MainLoopTest, PostedFunctionTravelsAsMessage1124WithTheFunctionInLParam) {
    ASSERT_TRUE(post([] {}));
    LoopMessage message;
    ASSERT_TRUE(queue->GetMessageFor(message, std::chrono::milliseconds(0)));
    EXPECT_EQ(message.message, 1124u);
    EXPECT_EQ(message.wParam, 0u);
    ASSERT_NE(message.lParam, 0);
    delete reinterpret_cast<std::function<void()>*>(message.lParam);
}

TEST_F(MainLoopTest, FunctionPostedByAPostedFunctionRunsAtALaterTurnNeverNested) {
    std::vector<std::string> seen;
    int depth = 0;
    auto enter = [&](const std::string& name) {
        seen.push_back(name + "@" + std::to_string(depth));
    };
    post([&] {
        ++depth;
        enter("outer start");
        post([&] {
            ++depth;
            enter("inner");
            PostQuit();
            --depth;
        });
        enter("outer end");
        --depth;
    });
    post([&] { enter("queued earlier"); });

    EXPECT_EQ(mainLoop.Run(), 3u);
    EXPECT_EQ(seen, (std::vector<std::string>{"outer start@1", "outer end@1", "queued earlier@0", "inner@1"}));
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

TEST_F(MainLoopTest, RefusedPostFreesItsCopyAndReturnsFalse) {
    auto token = std::make_shared<int>(0);
    queue->Close();
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

TEST_F(MainLoopTest, OtherMessagesAndAnEmptyFunctionMessageAreDispatchedWithoutHarm) {
    int ran = 0;
    queue->PostThreadMessage(0x401, 7, 9);
    queue->PostThreadMessage(kPostedFunctionMessage, 0, 0);
    post([&] { ++ran; });
    PostQuit();
    EXPECT_EQ(mainLoop.Run(), 3u);
    EXPECT_EQ(ran, 1);
}

TEST_F(MainLoopTest, EmptyPostedFunctionRaisesBadFunctionCall) {
    post(std::function<void()>());
    EXPECT_THROW(mainLoop.Run(), std::bad_function_call);
}

TEST_F(MainLoopTest, FunctionsPostedFromOtherThreadsRunOnTheLoopsThread) {
    const std::thread::id loopThread = std::this_thread::get_id();
    int ranHere = 0;
    std::thread poster([&] {
        for (int i = 0; i < 50; ++i) post([&] { ranHere += std::this_thread::get_id() == loopThread; });
        PostQuit();
    });
    mainLoop.Run();
    poster.join();
    EXPECT_EQ(ranHere, 50);
}

}  // namespace
}  // namespace qv
