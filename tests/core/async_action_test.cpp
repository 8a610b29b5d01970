// Delayed actions as the main thread sees them: posting, cancelling before
// the loop gets there, refused posts. Cases that race other threads are in
// tests/concurrency.
#include <chrono>
#include <functional>
#include <limits>

#include <gtest/gtest.h>

#include "core/async.h"
#include "support/main_thread_harness.h"

namespace qv {
namespace {

using namespace std::chrono_literals;

class AsyncActionTest : public testing::Test {
protected:
    test::MainThreadHarness main{false};
    int runs = 0;
    CAsyncAction::Function count = [this](CRefPtr<CAsyncAction>) { ++runs; };
};

TEST_F(AsyncActionTest, ZeroDelayActionRunsOnTheLoopWithAReferenceToItselfAndLivesUntilThen) {
    CAsyncAction* seen = nullptr;
    CWeakRefPtr<CAsyncAction> weak = CAsyncAction::Post(main.dispatcher, [&](CRefPtr<CAsyncAction> self) {
        seen = self.get();
        ++runs;
    });
    CRefPtr<CAsyncAction> action = weak.Lock();
    ASSERT_TRUE(action) << "the queued function holds the action";
    EXPECT_EQ(runs, 0) << "nothing runs before the loop turns";
    EXPECT_FALSE(action->Finished.load());
    const CAsyncAction* posted = action.get();
    action.reset();

    main.RunPending();
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(weak.Lock()) << "the action goes once it has been dealt with";
    EXPECT_EQ(seen, posted);
}

TEST_F(AsyncActionTest, CancelBeforeTheLoopGetsThereRunsNothingAndCountsOnce) {
    CRefPtr<CAsyncAction> action = CAsyncAction::Post(main.dispatcher, count);
    EXPECT_TRUE(action->Cancel(0));
    EXPECT_FALSE(action->Cancel(0));
    EXPECT_EQ(main.RunPending(), 1u) << "the message is still dispatched";
    EXPECT_EQ(runs, 0);
    EXPECT_FALSE(action->Ran.load());
    EXPECT_TRUE(action->Finished.load());
    EXPECT_FALSE(CAsyncAction::Cancel(nullptr, 0));
    EXPECT_FALSE(CAsyncAction::Cancel(nullptr, std::numeric_limits<int64_t>::max()));

    // After the run a cancel still marks the action cancelled.
    CRefPtr<CAsyncAction> ran = CAsyncAction::Post(main.dispatcher, count);
    main.RunPending();
    EXPECT_TRUE(ran->Ran.load());
    EXPECT_TRUE(ran->Cancel(0));
    const CRefPtr<CAsyncActionCancellation> cancellation = ran->GetCancellation();
    EXPECT_TRUE(cancellation->Cancelled.load());
    EXPECT_EQ(runs, 1);
}

TEST_F(AsyncActionTest, OneCancelStopsEveryActionOfAChainEvenThosePostedLater) {
    CRefPtr<CAsyncAction> first = CAsyncAction::Post(main.dispatcher, count);
    const CRefPtr<CAsyncActionCancellation> chain = first->GetCancellation();
    CRefPtr<CAsyncAction> second = CAsyncAction::Post(main.dispatcher, count, chain);
    CRefPtr<CAsyncAction> other = CAsyncAction::Post(main.dispatcher, count);
    EXPECT_TRUE(second->Cancel(0));

    const std::size_t threadsBefore = CThread::UnreapedCount();
    CRefPtr<CAsyncAction> now = CAsyncAction::Post(main.dispatcher, count, chain);
    CRefPtr<CAsyncAction> later = CAsyncAction::Post(main.dispatcher, 5ms, count, chain);
    ASSERT_TRUE(now);
    ASSERT_TRUE(later);
    EXPECT_EQ(now->GetCancellation(), chain);
    EXPECT_EQ(CThread::UnreapedCount(), threadsBefore) << "no timer thread for an action that cannot run";

    EXPECT_EQ(main.RunPending(), 3u) << "the actions posted after the cancel were never queued";
    EXPECT_EQ(runs, 1) << "only the action outside the chain runs";
    EXPECT_TRUE(other->Ran.load());
    EXPECT_TRUE(first->Finished.load());
    EXPECT_TRUE(second->Finished.load());
    EXPECT_FALSE(first->Ran.load());
    EXPECT_FALSE(now->Finished.load());
    EXPECT_FALSE(later->Finished.load());
    EXPECT_FALSE(now->Cancel(0)) << "the chain is cancelled already";
}

TEST_F(AsyncActionTest, MissingOrRefusingDispatcherRunsNothing) {
    EXPECT_FALSE(CAsyncAction::Post(nullptr, count));
    EXPECT_FALSE(CAsyncAction::Post(nullptr, 10ms, count));

    int offered = 0;
    CRefPtr<IAsyncActionDispatcher> refusing = MakeRef<CAsyncActionDispatcher>([&](const std::function<void()>&) {
        ++offered;
        return false;
    });
    CRefPtr<CAsyncAction> action = CAsyncAction::Post(refusing, count);
    ASSERT_TRUE(action);
    EXPECT_EQ(offered, 1);
    EXPECT_TRUE(action->Finished.load()) << "a refused zero-delay action is finished at once";
    EXPECT_FALSE(action->Ran.load());
    EXPECT_EQ(main.RunPending(), 0u);
    EXPECT_EQ(runs, 0);

    CRefPtr<IAsyncActionDispatcher> empty = MakeRef<CAsyncActionDispatcher>(CAsyncActionDispatcher::PostingFunction());
    EXPECT_THROW(empty->Post([] {}), std::bad_function_call);
}

}  // namespace
}  // namespace qv
