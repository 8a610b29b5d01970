// The figures of an event-to-host benchmark: the latencies' median and 99th
// percentile, and what the path costs beyond the delays it is built of (the
// 10 ms in which a session's events settle and the 100 ms before a word is
// final).
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <vector>

#include <benchmark/benchmark.h>

namespace qv::bench {

inline constexpr double kDesignedMs = 10 + 100;

inline double Milliseconds(std::chrono::steady_clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

inline double Percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const auto index = static_cast<std::size_t>(std::ceil(p * values.size())) - 1;
    return values[std::min(index, values.size() - 1)];
}

inline void ReportEventLatencies(benchmark::State& state, const std::vector<double>& latencies) {
    const double median = Percentile(latencies, 0.5);
    const double p99 = Percentile(latencies, 0.99);
    state.counters["median_ms"] = median;
    state.counters["p99_ms"] = p99;
    state.counters["designed_ms"] = kDesignedMs;
    state.counters["overhead_median_ms"] = median - kDesignedMs;
    state.counters["overhead_p99_ms"] = p99 - kDesignedMs;
}

}  // namespace qv::bench
