// How late a delayed action starts: from Post to the start of its function on
// the loop thread, less the nominal delay. The cost is a timer thread per
// action, its timed wait, the post of message 1124 and the loop's wake-up.
// Reported as the median and the 99th percentile over many runs.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <future>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "core/async.h"
#include "platform/portable_message_loop.h"
#include "shell/main_loop.h"

namespace qv {
namespace {

using Clock = std::chrono::steady_clock;

// The program's main thread in small: a loop on a thread of its own, fed
// through a dispatcher like the one main builds.
class LoopThread {
public:
    LoopThread() {
        std::promise<void> ready;
        std::future<void> isReady = ready.get_future();
        m_thread = std::thread([this, &ready] {
            m_queue = MakeRef<CPortableMessageLoop>();
            CMainLoop mainLoop(m_queue);
            m_dispatcher = MakeRef<CAsyncActionDispatcher>(mainLoop.PostingFunction());
            ready.set_value();
            mainLoop.Run();
        });
        isReady.wait();
    }
    ~LoopThread() {
        m_queue->PostThreadMessage(kQuitMessage, 0, 0);
        m_thread.join();
    }
    const CRefPtr<IAsyncActionDispatcher>& Dispatcher() const { return m_dispatcher; }

private:
    std::thread m_thread;
    CRefPtr<CPortableMessageLoop> m_queue;
    CRefPtr<IAsyncActionDispatcher> m_dispatcher;
};

double Percentile(std::vector<double> sorted, double fraction) {
    std::sort(sorted.begin(), sorted.end());
    const auto rank = static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(sorted.size())));
    return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
}

void BM_DelayedActionLatency(benchmark::State& state) {
    const std::chrono::milliseconds delay(state.range(0));
    LoopThread loop;
    std::vector<double> lateUs;
    lateUs.reserve(static_cast<std::size_t>(state.max_iterations));
    for (auto _ : state) {
        std::promise<Clock::time_point> started;
        std::future<Clock::time_point> startedAt = started.get_future();
        const Clock::time_point posted = Clock::now();
        CAsyncAction::Post(loop.Dispatcher(), delay,
                           [&started](CRefPtr<CAsyncAction>) { started.set_value(Clock::now()); });
        const Clock::time_point ran = startedAt.get();
        lateUs.push_back(std::chrono::duration<double, std::micro>(ran - posted - delay).count());
    }
    if (lateUs.empty()) return;
    state.counters["median_late_us"] = Percentile(lateUs, 0.5);
    state.counters["p99_late_us"] = Percentile(lateUs, 0.99);
    state.counters["max_late_us"] = *std::max_element(lateUs.begin(), lateUs.end());
    state.counters["min_late_us"] = *std::min_element(lateUs.begin(), lateUs.end());
}
BENCHMARK(BM_DelayedActionLatency)
    ->ArgName("delay_ms")
    ->Arg(10)
    ->Iterations(200)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_DelayedActionLatency)
    ->ArgName("delay_ms")
    ->Arg(100)
    ->Iterations(50)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace qv

BENCHMARK_MAIN();
