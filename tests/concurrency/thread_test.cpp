// CThread: the system's one thread class. A finished thread stays listed
// until the next Start reaps it; a running one stays listed.
#include <atomic>
#include <memory>
#include <stop_token>

#include <gtest/gtest.h>

#include "core/async.h"
#include "platform/thread_id.h"
#include "support/wait_until.h"

namespace qv {
namespace {

TEST(CThreadTest, RunsOnAThreadOfItsOwnAndFinishedThreadsAreReapedAtTheNextStartButRunningOnesStay) {
    std::atomic<uint32_t> ranOn{0};
    std::shared_ptr<CThread> quick = CThread::Start([&](std::stop_token) { ranOn = CurrentThreadId(); });
    ASSERT_TRUE(quick);
    ASSERT_TRUE(test::WaitUntil([&] { return quick->Finished.load(); }));
    EXPECT_NE(ranOn.load(), 0u);
    EXPECT_NE(ranOn.load(), CurrentThreadId());
    std::weak_ptr<CThread> quickInList = quick;
    quick.reset();
    EXPECT_FALSE(quickInList.expired()) << "nothing reaps before the next Start";

    std::atomic<bool> release{false};
    std::shared_ptr<CThread> blocked =
        CThread::Start([&](std::stop_token) { test::WaitUntil([&] { return release.load(); }); });
    EXPECT_TRUE(quickInList.expired()) << "the next Start reaps a finished thread";
    std::weak_ptr<CThread> blockedInList = blocked;
    blocked.reset();

    std::shared_ptr<CThread> another = CThread::Start([](std::stop_token) {});
    EXPECT_FALSE(blockedInList.expired()) << "a running thread is never reaped";

    release = true;
    ASSERT_TRUE(test::WaitUntil([&] {
        auto b = blockedInList.lock();
        return !b || b->Finished.load();
    }));
    ASSERT_TRUE(test::WaitUntil([&] { return another->Finished.load(); }));
    const std::size_t before = CThread::UnreapedCount();
    std::shared_ptr<CThread> last = CThread::Start([](std::stop_token) {});
    EXPECT_TRUE(blockedInList.expired());
    EXPECT_LT(CThread::UnreapedCount(), before) << "at least two reaped, one added";
    test::WaitUntil([&] { return last->Finished.load(); });
}

}  // namespace
}  // namespace qv
