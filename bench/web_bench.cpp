// The web classifier's share of a native host's message, on the main thread:
// ProcessMessage of one batch of 100 changes (10 pages, each with 9 media
// elements, turning audible and playing in one message and silent in the
// next), with the page wiring and classification that the changes set off.
// The log goes to /dev/null, as it costs what a terminal costs otherwise.
#include <cstdio>
#include <string>

#include <benchmark/benchmark.h>

#include "core/async.h"
#include "core/trace.h"
#include "web/web_content_classifier.h"

namespace qv {
namespace {

std::string Id(unsigned first, unsigned second) {
    char text[40];
    std::snprintf(text, sizeof text, "%016x-%016x", first, second);
    return text;
}

std::string Batch(bool on) {
    const std::string flag = on ? "true" : "false";
    std::string body = R"({"instanceId":"bench","changes":[)";
    for (unsigned page = 0; page < 10; ++page) {
        body += R"({"type":"web-page","id":")" + Id(page, 0) + R"(","url":"https://site)" + std::to_string(page) +
                R"(.example.com/watch?v=x","title":"Page","audible":)" + flag + R"(,"muted":false,"timeStamp":)" +
                std::to_string(page) + "},";
        for (unsigned element = 1; element <= 9; ++element)
            body += R"({"type":"web-video-element","id":")" + Id(page, element) + R"(","pageId":")" + Id(page, 0) +
                    R"(","playing":)" + flag + R"(,"duration":120.5,"currentSrc":"blob:x"},)";
    }
    body.back() = ']';
    return body + "}";
}

void BM_ProcessMessageOf100Changes(benchmark::State& state) {
    CRefPtr<ITraceFuncCallTarget> trace = MakeRef<CTraceFuncCallTarget>();
    CRefPtr<IAsyncActionDispatcher> dispatcher =
        MakeRef<CAsyncActionDispatcher>([](const std::function<void()>&) { return false; });
    CRefPtr<CContentClassifierLog> log = MakeRef<CContentClassifierLog>(trace);
    CRefPtr<CWebContentClassifier> web = MakeRef<CWebContentClassifier>(trace, dispatcher, log);
    std::FILE* devNull = std::fopen("/dev/null", "w");
    web->LogOutput = devNull;
    const std::string on = Batch(true), off = Batch(false);
    std::string reply;
    bool audible = true;
    for (auto _ : state) {
        web->ProcessMessage(1234, L"/usr/bin/chromium", audible ? on : off, reply);
        audible = !audible;
        benchmark::DoNotOptimize(reply);
    }
    state.counters["objects"] = static_cast<double>(web->Objects.size());
    web = nullptr;
    std::fclose(devNull);
}
BENCHMARK(BM_ProcessMessageOf100Changes)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace qv

BENCHMARK_MAIN();
