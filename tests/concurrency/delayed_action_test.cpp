// Delayed actions across threads: timer threads woken by a cancel, a shared
// cancellation waking every sleeper, Cancel waiting for a running function,
// posts and cancels racing on several threads, and the delay as a lower
// bound.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/async.h"
#include "support/main_thread_harness.h"
#include "support/wait_until.h"

namespace qv {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class DelayedActionTest : public testing::Test {
protected:
    test::MainThreadHarness main{false};
    std::atomic<int> runs{0};
    CAsyncAction::Function count = [this](CRefPtr<CAsyncAction>) { ++runs; };
};

TEST_F(DelayedActionTest, CancelWakesEveryTimerThreadSleepingOnItsChainAtOnce) {
    constexpr int kSleepers = 5;
    std::vector<CRefPtr<CAsyncAction>> actions{CAsyncAction::Post(main.dispatcher, 10s, count)};
    for (int i = 1; i < kSleepers; ++i)
        actions.push_back(CAsyncAction::Post(main.dispatcher, 10s, count, actions.front()->GetCancellation()));
    // Nothing shows that the timer threads have gone to sleep yet; a moment's
    // head start makes the cancel find them asleep in practice. Either way
    // they must end at once.
    std::this_thread::sleep_for(50ms);

    EXPECT_TRUE(actions[2]->Cancel(0));
    for (int i = 0; i < kSleepers; ++i) {
        EXPECT_TRUE(test::WaitUntil([&] { return actions[i]->Finished.load(); }, 5s))
            << "sleeper " << i << " still sleeps out its 10 s";
    }
    EXPECT_EQ(main.RunPending(), 0u) << "a cancelled timer posts nothing";
    EXPECT_EQ(runs.load(), 0);
}

TEST_F(DelayedActionTest, CancelWaitsForTheRunningFunctionWithinItsTimeOutAndTakesEffectEitherWay) {
    // A short time-out gives up while the function runs on: it waits for that
    // Cancel to return first.
    for (const int64_t limit : {int64_t{50}, int64_t{10000}, std::numeric_limits<int64_t>::max()}) {
        SCOPED_TRACE(limit);
        const bool waits = limit > 50;
        std::atomic<bool> started{false}, cancelling{false}, cancelReturned{false}, done{false};
        CRefPtr<CAsyncAction> action = CAsyncAction::Post(main.dispatcher, [&](CRefPtr<CAsyncAction>) {
            started = true;
            test::WaitUntil([&] { return cancelling.load(); });
            if (waits) {
                // Give a Cancel that does not wait the chance to return too early.
                std::this_thread::sleep_for(50ms);
            } else {
                test::WaitUntil([&] { return cancelReturned.load(); });
            }
            done = true;
        });

        bool result = !waits;
        bool doneWhenCancelReturned = !waits;
        std::thread canceller([&] {
            test::WaitUntil([&] { return started.load(); });
            cancelling = true;
            result = action->Cancel(limit);
            doneWhenCancelReturned = done.load();
            cancelReturned = true;
        });
        EXPECT_TRUE(main.RunUntil([&] { return action->Finished.load(); }));
        canceller.join();

        EXPECT_EQ(result, waits);
        EXPECT_EQ(doneWhenCancelReturned, waits) << "Cancel returned at the wrong moment";
        EXPECT_TRUE(action->Ran.load()) << "a cancel after the start does not stop the function";
        const CRefPtr<CAsyncActionCancellation> cancellation = action->GetCancellation();
        EXPECT_TRUE(cancellation->Cancelled.load()) << "the cancel took effect even so";
        EXPECT_FALSE(action->Cancel(0));
    }
}

TEST_F(DelayedActionTest, DelayIsALowerBoundAndTheActionLivesUntilItHasRunThoughThePosterDropsIt) {
    struct Timing {
        std::chrono::milliseconds delay;
        Clock::time_point posted;
        Clock::time_point ran;
    };
    std::vector<Timing> timings{{20ms, {}, {}}, {50ms, {}, {}}, {120ms, {}, {}}};
    std::vector<CWeakRefPtr<CAsyncAction>> actions;
    for (Timing& t : timings) {
        t.posted = Clock::now();
        actions.emplace_back(
            CAsyncAction::Post(main.dispatcher, t.delay, [&t](CRefPtr<CAsyncAction>) { t.ran = Clock::now(); }));
    }
    EXPECT_TRUE(main.RunUntil([&] {
        return std::all_of(timings.begin(), timings.end(),
                           [](const Timing& t) { return t.ran != Clock::time_point{}; });
    }));
    for (const Timing& t : timings) EXPECT_GE(t.ran - t.posted, t.delay) << "delay " << t.delay.count() << " ms";
    for (const auto& weak : actions)
        EXPECT_TRUE(test::WaitUntil([&] { return !weak.Lock(); })) << "the action outlived its run";
}

TEST_F(DelayedActionTest, RefusedPostOfADelayedActionGoesUnnoticed) {
    std::atomic<int> offered{0};
    CRefPtr<IAsyncActionDispatcher> refusing = MakeRef<CAsyncActionDispatcher>([&](const std::function<void()>&) {
        ++offered;
        return false;
    });
    CRefPtr<CAsyncAction> action = CAsyncAction::Post(refusing, 10ms, count);
    ASSERT_TRUE(test::WaitUntil([&] { return offered.load() == 1; }));
    EXPECT_FALSE(action->Finished.load());
    EXPECT_FALSE(action->Ran.load());
}

// Posts, delays and cancels from several threads at once: every action ends
// in exactly one way, and a function never runs twice.
TEST_F(DelayedActionTest, ConcurrentPostsAndCancelsEachEndOnce) {
    constexpr int kThreads = 3;
    constexpr int kPerThread = 60;
    struct Slot {
        CRefPtr<CAsyncAction> action;
        std::atomic<int> calls{0};
    };
    std::vector<Slot> slots(kThreads * kPerThread);
    std::atomic<int> posted{0};
    std::vector<std::thread> posters;
    for (int t = 0; t < kThreads; ++t) {
        posters.emplace_back([&, t] {
            for (int i = 0; i < kPerThread; ++i) {
                Slot& slot = slots[t * kPerThread + i];
                const auto delay = std::chrono::milliseconds(i % 3 == 0 ? 0 : i % 7);
                CRefPtr<CAsyncAction> action =
                    CAsyncAction::Post(main.dispatcher, delay, [&slot](CRefPtr<CAsyncAction>) { ++slot.calls; });
                if (i % 2 == 0) action->Cancel(0);
                slot.action = action;
                posted.fetch_add(1, std::memory_order_release);
            }
        });
    }
    // The loop turns while the posters post and cancel.
    EXPECT_TRUE(main.RunUntil([&] {
        if (posted.load(std::memory_order_acquire) != kThreads * kPerThread) return false;
        for (auto& slot : slots)
            if (!slot.action->Finished.load()) return false;
        return true;
    }));
    for (auto& poster : posters) poster.join();
    for (auto& slot : slots) {
        EXPECT_LE(slot.calls.load(), 1);
        EXPECT_EQ(slot.calls.load() == 1, slot.action->Ran.load());
    }
}

}  // namespace
}  // namespace qv
