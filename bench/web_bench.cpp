// The web classifier's share of a native host's message, on the main thread:
// ProcessMessage of one batch of 100 changes (10 pages, each with 9 media
// elements, turning audible and playing in one message and silent in the
// next), with the page wiring and classification that the changes set off.
// The log goes to /dev/null, as it costs what a terminal costs otherwise.
// And the video site's text: a 2 MB watch page made into a video's info
// (the median of five runs is the figure to compare).
#include <cstdio>
#include <string>

#include <benchmark/benchmark.h>

#include "core/async.h"
#include "core/trace.h"
#include "web/video_site_text.h"
#include "web/web_content_classifier.h"
#include "web/youtube_video_info.h"

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

// A watch page as the site serves it, about 2 MB: markup and scripts before
// the player's response, whose stream list comes late, then more script.
// What one fetched page costs the worker: the unescaping and the info.
std::wstring WatchPage() {
    const std::wstring filler = L"<div class=\"x\">\\u003cspan\\u003e text of the page </div>\n";
    std::wstring page;
    while (page.size() < 1000000) page += filler;
    page +=
        LR"(var ytInitialPlayerResponse = {\"videoDetails\":{\"shortDescription\":\"A \\u0026 B\"},)"
        LR"(\"microformat\":{\"category\":\"Music\"},\"streamingData\":{\"formats\":[)";
    for (int format = 0; format < 20; ++format)
        page += LR"({\"audioSampleRate\":\"44100\",\"audioChannels\":2,\"approxDurationMs\":\"213000\"},)";
    page += LR"({}],\"adaptiveFormats\":[{\"audioSampleRate\":\"48000\"}]}};)";
    while (page.size() < 2000000) page += filler;
    return page;
}

void BM_YoutubeVideoInfoOf2MBWatchPage(benchmark::State& state) {
    const std::wstring page = WatchPage();
    for (auto _ : state) {
        CRefPtr<CYoutubeVideoInfo> info = CYoutubeVideoInfo::FromText(UnescapeVideoSiteText(page), 0);
        benchmark::DoNotOptimize(info);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * page.size() * sizeof(wchar_t)));
}
BENCHMARK(BM_YoutubeVideoInfoOf2MBWatchPage)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();

}  // namespace
}  // namespace qv

BENCHMARK_MAIN();
