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

TEST_F(AsyncActionTest, ZeroDelayActionRunsOnTheLoopWithAReferenceToItself) {
    CAsyncAction* seen = nullptr;
    CRefPtr<CAsyncAction> action = CAsyncAction::Post(main.dispatcher, [&](CRefPtr<CAsyncAction> self) {
        seen = self.get();
        ++runs;
    });
    ASSERT_TRUE(action);
    EXPECT_EQ(runs, 0) << "nothing runs before the loop turns";
    EXPECT_FALSE(action->Finished.load());

    main.RunPending();
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(seen, action.get());
    EXPECT_TRUE(action->Ran.load());
    EXPECT_TRUE(action->Finished.load());
}

TEST_F(AsyncActionTest, ActionLivesUntilItRunsWhenThePosterDropsIt) {
    CWeakRefPtr<CAsyncAction> weak = CAsyncAction::Post(main.dispatcher, count);
    EXPECT_TRUE(weak.Lock()) << "the queued function holds the action";
    main.RunPending();
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(weak.Lock()) << "the action goes once it has been dealt with";
}

TEST_F(AsyncActionTest, NullDispatcherGivesNullAndNothingRuns) {
    EXPECT_FALSE(CAsyncAction::Post(nullptr, count));
    EXPECT_FALSE(CAsyncAction::Post(nullptr, 10ms, count));
    EXPECT_EQ(main.RunPending(), 0u);
    EXPECT_EQ(runs, 0);
}

TEST_F(AsyncActionTest, CancelAfterQueuingButBeforeTheLoopGetsThereRunsNothing) {
    CRefPtr<CAsyncAction> action = CAsyncAction::Post(main.dispatcher, count);
    EXPECT_TRUE(action->Cancel(0));
    EXPECT_EQ(main.RunPending(), 1u) << "the message is still dispatched";
    EXPECT_EQ(runs, 0);
    EXPECT_FALSE(action->Ran.load());
    EXPECT_TRUE(action->Finished.load());
}

TEST_F(AsyncActionTest, CancelTwiceReturnsFalseTheSecondTimeAndNullActionGivesFalse) {
    CRefPtr<CAsyncAction> action = CAsyncAction::Post(main.dispatcher, count);
    EXPECT_TRUE(action->Cancel(0));
    EXPECT_FALSE(action->Cancel(0));
    EXPECT_FALSE(CAsyncAction::Cancel(nullptr, 0));
    EXPECT_FALSE(CAsyncAction::Cancel(nullptr, std::numeric_limits<int64_t>::max()));
    main.RunPending();
}

TEST_F(AsyncActionTest, CancelAfterTheActionRanStillMarksItCancelled) {
    CRefPtr<CAsyncAction> action = CAsyncAction::Post(main.dispatcher, count);
    main.RunPending();
    EXPECT_TRUE(action->Cancel(0));
    const CRefPtr<CAsyncActionCancellation> cancellation = action->GetCancellation();
    EXPECT_TRUE(cancellation->Cancelled.load());
    EXPECT_EQ(runs, 1);
}

TEST_F(AsyncActionTest, PostWithAnAlreadyCancelledCancellationGivesAnActionThatNeverRuns) {
    CRefPtr<CAsyncAction> first = CAsyncAction::Post(main.dispatcher, count);
    CRefPtr<CAsyncActionCancellation> chain = first->GetCancellation();
    ASSERT_TRUE(first->Cancel(0));

    const std::size_t threadsBefore = CThread::UnreapedCount();
    CRefPtr<CAsyncAction> now = CAsyncAction::Post(main.dispatcher, count, chain);
    CRefPtr<CAsyncAction> later = CAsyncAction::Post(main.dispatcher, 5ms, count, chain);
    ASSERT_TRUE(now);
    ASSERT_TRUE(later);
    EXPECT_EQ(now->GetCancellation(), chain);
    EXPECT_EQ(CThread::UnreapedCount(), threadsBefore) << "no timer thread for an action that cannot run";

    EXPECT_EQ(main.RunPending(), 1u) << "only the first action was ever queued";
    EXPECT_EQ(runs, 0);
    EXPECT_FALSE(now->Finished.load());
    EXPECT_FALSE(later->Finished.load());
    EXPECT_FALSE(now->Cancel(0)) << "the chain is cancelled already";
}

TEST_F(AsyncActionTest, OneCancelStopsEveryQueuedActionOfAChain) {
    CRefPtr<CAsyncAction> first = CAsyncAction::Post(main.dispatcher, count);
    CRefPtr<CAsyncAction> second = CAsyncAction::Post(main.dispatcher, count, first->GetCancellation());
    CRefPtr<CAsyncAction> other = CAsyncAction::Post(main.dispatcher, count);
    EXPECT_TRUE(second->Cancel(0));
    main.RunPending();
    EXPECT_EQ(runs, 1) << "only the action outside the chain runs";
    EXPECT_TRUE(first->Finished.load());
    EXPECT_TRUE(second->Finished.load());
    EXPECT_FALSE(first->Ran.load());
    EXPECT_TRUE(other->Ran.load());
}

TEST_F(AsyncActionTest, RefusingDispatcherFinishesZeroDelayActions) {
    int offered = 0;
    CRefPtr<IAsyncActionDispatcher> refusing = MakeRef<CAsyncActionDispatcher>([&](const std::function<void()>&) {
        ++offered;
        return false;
    });
    CRefPtr<CAsyncAction> action = CAsyncAction::Post(refusing, count);
    ASSERT_TRUE(action);
    EXPECT_EQ(offered, 1);
    EXPECT_TRUE(action->Finished.load());
    EXPECT_FALSE(action->Ran.load());
    EXPECT_EQ(runs, 0);
}

TEST_F(AsyncActionTest, DispatcherWithoutPostingFunctionRaises) {
    CRefPtr<IAsyncActionDispatcher> empty = MakeRef<CAsyncActionDispatcher>(CAsyncActionDispatcher::PostingFunction());
    EXPECT_THROW(empty->Post([] {}), std::bad_function_call);
}

TEST_F(AsyncActionTest, CancelPendingCancelsALiveActionAndIgnoresAGoneOne) {
    CWeakRefPtr<CAsyncAction> slot = CAsyncAction::Post(main.dispatcher, count);
    CancelPending(slot);
    main.RunPending();
    EXPECT_EQ(runs, 0);
    EXPECT_FALSE(slot.Lock());
    CancelPending(slot);
    CancelPending(CWeakRefPtr<CAsyncAction>());
}

// The usual pattern: a burst of triggers leaves one action, and its function
// gives up if its object has gone.
class Debounced : public CAddReleaseRef {
public:
    explicit Debounced(CRefPtr<IAsyncActionDispatcher> dispatcher) : m_dispatcher(std::move(dispatcher)) {}
    void Trigger() {
        CancelPending(m_pending);
        CWeakRefPtr<Debounced> self(this);
        m_pending = CAsyncAction::Post(m_dispatcher, [self](CRefPtr<CAsyncAction>) {
            if (CRefPtr<Debounced> alive = self.Lock()) ++alive->Runs;
        });
    }
    int Runs = 0;

private:
    CRefPtr<IAsyncActionDispatcher> m_dispatcher;
    CWeakRefPtr<CAsyncAction> m_pending;
};

TEST_F(AsyncActionTest, BurstOfTriggersRunsOnceAndAGoneOwnerRunsNothing) {
    CRefPtr<Debounced> owner = MakeRef<Debounced>(main.dispatcher);
    for (int i = 0; i < 5; ++i) owner->Trigger();
    main.RunPending();
    EXPECT_EQ(owner->Runs, 1);

    owner->Trigger();
    CWeakRefPtr<Debounced> weak(owner);
    owner.reset();
    EXPECT_FALSE(weak.Lock()) << "the pending action must not hold its owner";
    main.RunPending();
}

}  // namespace
}  // namespace qv
