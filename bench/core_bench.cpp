// The object core's hot paths: a property set with its handlers, and a
// zero-delay action from Post to its run on the main loop.
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "core/async.h"
#include "core/observable.h"
#include "core/ref.h"
#include "platform/portable_message_loop.h"
#include "shell/main_loop.h"

namespace qv {
namespace {

class Owner : public CAddReleaseRef {
public:
    observable_property<Owner, int> Value{this, "CoreBench.Value"};
};

struct Subscriber {
    int64_t calls = 0;
    static void Handler(void* self, void*, CallbackCallReason) { ++static_cast<Subscriber*>(self)->calls; }
    static PropertyHandlerPair Pair() { return {&Handler, &Handler}; }
};

// Every iteration is a real change, so every handler runs once as Changing
// and once as Changed.
void BM_PropertySet(benchmark::State& state) {
    CRefPtr<Owner> owner = MakeRef<Owner>();
    std::vector<Subscriber> subscribers(static_cast<std::size_t>(state.range(0)));
    for (Subscriber& s : subscribers) owner->Value.Subscribe(&s, Subscriber::Pair());
    int value = 0;
    for (auto _ : state) owner->Value.set(++value);
    for (Subscriber& s : subscribers) {
        benchmark::DoNotOptimize(s.calls);
        owner->Value.Unsubscribe(&s, Subscriber::Pair());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PropertySet)->ArgName("subscribers")->Arg(0)->Arg(1)->Arg(10);

// Post and dispatch on one thread: the cost of the action, the heap copy of
// the function as message 1124, the queue and the dispatch under DispatchLock.
void BM_ZeroDelayActionThroughMainLoop(benchmark::State& state) {
    CRefPtr<CPortableMessageLoop> queue = MakeRef<CPortableMessageLoop>();
    CMainLoop mainLoop(queue);
    CRefPtr<IAsyncActionDispatcher> dispatcher = MakeRef<CAsyncActionDispatcher>(mainLoop.PostingFunction());
    int64_t ran = 0;
    const CAsyncAction::Function function = [&ran](CRefPtr<CAsyncAction>) { ++ran; };
    const auto afterOneMessage = [] { return true; };
    for (auto _ : state) {
        CAsyncAction::Post(dispatcher, function);
        mainLoop.Run(afterOneMessage);
    }
    if (ran != static_cast<int64_t>(state.iterations())) state.SkipWithError("an action did not run");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ZeroDelayActionThroughMainLoop);

// The same from another thread, as a platform callback posts: from Post to
// the end of the run on a loop that waits on its own thread.
void BM_ZeroDelayActionFromAnotherThread(benchmark::State& state) {
    CRefPtr<CPortableMessageLoop> queue = MakeRef<CPortableMessageLoop>();
    CMainLoop mainLoop(queue);
    CRefPtr<IAsyncActionDispatcher> dispatcher = MakeRef<CAsyncActionDispatcher>(mainLoop.PostingFunction());
    std::thread loopThread([&] { mainLoop.Run(); });
    std::atomic<int64_t> ran{0};
    const CAsyncAction::Function function = [&ran](CRefPtr<CAsyncAction>) { ran.fetch_add(1); };
    int64_t expected = 0;
    for (auto _ : state) {
        CAsyncAction::Post(dispatcher, function);
        ++expected;
        while (ran.load() != expected) {
        }
    }
    queue->PostThreadMessage(kQuitMessage, 0, 0);
    loopThread.join();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ZeroDelayActionFromAnotherThread)->UseRealTime();

}  // namespace
}  // namespace qv

BENCHMARK_MAIN();
