// The machine's own main loop (the thread queue on Windows, the portable
// queue on Linux): what the shell relies on, checked on the real thing.
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/native.h"
#include "platform/thread_id.h"
#include "shell/main_loop.h"

namespace qv {
namespace {

constexpr uint32_t kTestMessage = kPostedFunctionMessage + 1;

CRefPtr<IMessageLoop> MakeNativeLoop() { return CreateNativePlatform()->CreateMessageLoop(); }

TEST(NativeMessageLoopTest, PostsFromAnotherThreadArriveInOrderAndTheQuitMessageEndsReading) {
    CRefPtr<IMessageLoop> loop = MakeNativeLoop();
    ASSERT_TRUE(loop);
    EXPECT_EQ(loop->ThreadId(), CurrentThreadId());

    // The poster starts before the first read: the queue must already exist.
    constexpr int kCount = 200;
    std::atomic<int> refused{0};
    std::thread poster([&] {
        for (int i = 0; i < kCount; ++i) {
            if (!loop->PostThreadMessage(kTestMessage, static_cast<uintptr_t>(i), -static_cast<intptr_t>(i) - 1))
                ++refused;
        }
        if (!loop->PostThreadMessage(kQuitMessage, 0, 0)) ++refused;
    });

    std::vector<int> seen;
    LoopMessage message;
    int result = 0;
    while ((result = loop->GetMessage(message)) > 0) {
        if (message.message != kTestMessage) continue;  // the system may add its own
        EXPECT_EQ(message.lParam, -static_cast<intptr_t>(message.wParam) - 1);
        seen.push_back(static_cast<int>(message.wParam));
    }
    poster.join();

    EXPECT_EQ(result, 0);
    EXPECT_EQ(message.message, kQuitMessage);
    EXPECT_EQ(refused.load(), 0);
    ASSERT_EQ(seen.size(), static_cast<std::size_t>(kCount));
    for (int i = 0; i < kCount; ++i) EXPECT_EQ(seen[i], i) << "out of order at " << i;
}

TEST(NativeMessageLoopTest, PostedFunctionsRunOnTheLoopThreadAndOneThatPostsIsNeverNested) {
    CMainLoop mainLoop(MakeNativeLoop());
    auto post = mainLoop.PostingFunction();
    std::vector<std::string> order;
    std::atomic<uint32_t> ranOn{0};

    std::thread worker([&] {
        post([&] {
            ranOn = CurrentThreadId();
            order.push_back("outer begins");
            post([&] {
                order.push_back("inner");
                mainLoop.Loop()->PostThreadMessage(kQuitMessage, 0, 0);
            });
            order.push_back("outer ends");
        });
    });
    worker.join();

    std::size_t dispatched = mainLoop.Run();
    EXPECT_EQ(ranOn.load(), CurrentThreadId());
    EXPECT_EQ(order, (std::vector<std::string>{"outer begins", "outer ends", "inner"}));
    EXPECT_GE(dispatched, 2u);
}

// On Windows every loop of a thread is that thread's one queue, so each case
// has the queue to itself.
TEST(NativeMessageLoopTest, FunctionsStillQueuedAreFreedWhenTheLoopGoesOrClosesAndAClosedLoopRefusesPosts) {
    for (const bool close : {false, true}) {
        SCOPED_TRACE(close ? "closed" : "gone");
        auto token = std::make_shared<int>(7);
        std::weak_ptr<int> watch = token;
        CRefPtr<IMessageLoop> loop = MakeNativeLoop();
        ASSERT_TRUE(PostFunctionMessage(*loop, [token] { FAIL() << "must never run"; }));
        token.reset();
        EXPECT_FALSE(watch.expired()) << "the queue holds the function";
        if (close) {
            loop->Close();
            EXPECT_FALSE(loop->PostThreadMessage(kTestMessage, 0, 0));
        } else {
            loop = nullptr;
        }
        EXPECT_TRUE(watch.expired());
    }
}

#ifdef _WIN32
TEST(NativeMessageLoopTest, APostToALoopWhoseThreadHasEndedIsRefused) {
    CRefPtr<IMessageLoop> loop;
    std::thread([&] { loop = MakeNativeLoop(); }).join();
    ASSERT_TRUE(loop);
    EXPECT_NE(loop->ThreadId(), CurrentThreadId());
    EXPECT_FALSE(loop->PostThreadMessage(kTestMessage, 0, 0));
}
#endif

}  // namespace
}  // namespace qv
