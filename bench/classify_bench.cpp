// The classification's costs on the simulated machine, through its public
// paths: how long a player's session takes to reach the host (designed: 110
// ms of settling and passing on, plus the work), the sample analysis of a
// decoded file's first eight seconds, and the calculation over all active
// sessions of an endpoint as their number grows. The plug-in is absent.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <mutex>
#include <numbers>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "classify/content_classifier.h"
#include "classify/sample_analysis.h"
#include "core/text.h"
#include "devices/audio_device_manager.h"
#include "event_latency_report.h"
#include "platform/codes.h"
#include "sessions/process_info.h"
#include "shell/main_loop.h"
#include "support/main_thread_harness.h"
#include "support/test_host.h"

namespace qv::bench {
namespace {

using Clock = std::chrono::steady_clock;
using test::MainThreadHarness;
using test::TestHost;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";

// The duration of each function that the main thread runs, in order.
class DispatchTimes {
public:
    void Add(Clock::duration d) {
        std::lock_guard lock(m_mutex);
        m_times.push_back(d);
    }
    std::vector<Clock::duration> Take() {
        std::lock_guard lock(m_mutex);
        return std::exchange(m_times, {});
    }
    std::size_t Count() {
        std::lock_guard lock(m_mutex);
        return m_times.size();
    }

private:
    std::mutex m_mutex;
    std::vector<Clock::duration> m_times;
};

// The simulated machine with speakers that have the automatic preset, the
// process's device manager telling a test host, and a dispatcher that times
// every function it hands to the main thread.
class Machine {
public:
    Machine() : harness(/*tracing=*/false), host(harness.platform->Pipes()) {
        CProcessInfo::ClearCache();
        CRefPtr<IMessageLoop> loop = harness.loop;
        DispatchTimes* times = &dispatchTimes;
        timedDispatcher = MakeRef<CAsyncActionDispatcher>([loop, times](const std::function<void()>& function) {
            return PostFunctionMessage(*loop, [function, times] {
                const auto start = Clock::now();
                function();
                times->Add(Clock::now() - start);
            });
        });
        CSimAudio& audio = *harness.platform->SimAudio;
        audio.AddEndpoint(kSpeakers, eRender);
        audio.SetDefaultEndpoint(eRender, eMultimedia, kSpeakers);
        audio.SetEndpointProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyUi4(1));
        audio.SetEndpointProperty(kSpeakers, PKEY_EnableAutoPreset, SimPropertyUi4(1));
        audio.WaitUntilDelivered();
        devices.Attach(new CAudioDeviceManager(harness.trace, timedDispatcher, host.PipeName(), harness.log));
        devices->Initialize({WideToUtf8(kSpeakers)});
        for (const auto& c : devices->ContentClassifiers())
            if (c->EndpointId() == kSpeakers) classifier = c;
    }

    ~Machine() {
        classifier = nullptr;
        devices = nullptr;
        harness.RunPending();
        host.Stop();
        CProcessInfo::ClearCache();
    }

    uint32_t StartApp(const std::wstring& imagePath) {
        const uint32_t pid = m_nextPid++;
        harness.platform->SimProcesses->StartProcess(pid, imagePath);
        return pid;
    }
    std::wstring AddSession(uint32_t pid, AudioSessionState state) {
        return harness.platform->SimAudio->AddSession(kSpeakers, {.processId = pid, .state = state});
    }
    bool WaitForHost(std::size_t count) {
        return harness.RunUntil([&] { return host.Count() >= count; }, std::chrono::seconds(10));
    }
    std::size_t ActiveSessions() {
        CAudioSessionManager* manager = classifier ? classifier->AudioSessionManager->get() : nullptr;
        return manager ? manager->activeAudioSessions.size() : 0;
    }

    MainThreadHarness harness;
    TestHost host;
    DispatchTimes dispatchTimes;
    CRefPtr<IAsyncActionDispatcher> timedDispatcher;
    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CContentClassifier> classifier;

private:
    uint32_t m_nextPid = 5000;
};

// A player's session turns active; the time until the host hears "Movie".
// Between two measurements a music player takes over, so that every
// measured activation changes the word.
void BM_EventToHostMessage(benchmark::State& state) {
    Machine machine;
    if (!machine.classifier || machine.host.CreateError() != 0 || !machine.WaitForHost(1)) {
        state.SkipWithError("the classifier did not start");
        return;
    }
    const std::wstring movie = machine.AddSession(machine.StartApp(L"C:\\Apps\\vlc.exe"), AudioSessionStateInactive);
    const std::wstring music = machine.AddSession(machine.StartApp(L"C:\\Apps\\wmplayer.exe"), AudioSessionStateActive);
    CSimAudio& audio = *machine.harness.platform->SimAudio;
    if (!machine.WaitForHost(2)) {
        state.SkipWithError("the music player was never heard");
        return;
    }
    std::vector<double> latencies;
    for (auto _ : state) {
        const std::size_t heard = machine.host.Count();
        audio.SetSessionState(music, AudioSessionStateInactive);
        const auto event = Clock::now();
        audio.SetSessionState(movie, AudioSessionStateActive);
        if (!machine.WaitForHost(heard + 1) || machine.host.Words().back() != "Movie") {
            state.SkipWithError("the host did not hear Movie");
            return;
        }
        const double latency = Milliseconds(machine.host.Records().back().arrival - event);
        latencies.push_back(latency);
        state.SetIterationTime(latency / 1000.0);

        audio.SetSessionState(movie, AudioSessionStateInactive);
        audio.SetSessionState(music, AudioSessionStateActive);
        if (!machine.WaitForHost(heard + 2)) {
            state.SkipWithError("the music player did not come back");
            return;
        }
    }
    ReportEventLatencies(state, latencies);
}
BENCHMARK(BM_EventToHostMessage)->UseManualTime()->Iterations(60)->Unit(benchmark::kMillisecond);

// Eight seconds of decoded stereo at 44.1 kHz: 705,600 values.
void BM_AnalyzeSamples(benchmark::State& state) {
    constexpr uint32_t kRate = 44100;
    std::vector<float> samples(std::size_t{kRate} * 2 * 8);
    for (std::size_t f = 0; f < samples.size() / 2; ++f) {
        const double t = static_cast<double>(f) / kRate;
        const double level = 0.1 + 0.4 * ((f / (kRate * 7 / 10)) % 3) / 2.0;
        samples[2 * f] = samples[2 * f + 1] = static_cast<float>(level * std::sin(2 * std::numbers::pi * 220 * t));
    }
    for (auto _ : state) {
        SampleAnalysis result = AnalyzeSamples(samples.data(), samples.size(), 2, kRate);
        benchmark::DoNotOptimize(result);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * samples.size()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * samples.size() * sizeof(float)));
}
BENCHMARK(BM_AnalyzeSamples)->Unit(benchmark::kMicrosecond);

// The calculation over N active sessions: after an event near the
// classification, the one function that the main thread runs next is the
// settled calculation (its passing on included); its run is timed.
void BM_UpdateCalculatedClassification(benchmark::State& state) {
    const auto sessions = static_cast<std::size_t>(state.range(0));
    Machine machine;
    if (!machine.classifier || !machine.WaitForHost(1)) {
        state.SkipWithError("the classifier did not start");
        return;
    }
    for (std::size_t i = 0; i < sessions; ++i)
        machine.AddSession(machine.StartApp(L"C:\\Apps\\vlc.exe"), AudioSessionStateActive);
    if (!machine.harness.RunUntil([&] { return machine.ActiveSessions() == sessions; }, std::chrono::seconds(30)) ||
        !machine.WaitForHost(2)) {
        state.SkipWithError("the sessions did not all become active");
        return;
    }
    CAudioSession& session = *machine.classifier->AudioSessionManager.value()->activeAudioSessions[0];

    // Once with the trace on, to be sure that the function timed is the
    // calculation over all the sessions.
    DBG_TRACE* trace = machine.harness.trace->GetTrace();
    trace->Enabled.store(true);
    machine.harness.RunPending();
    machine.dispatchTimes.Take();
    session.IsVideo.set(!session.IsVideo.value());
    machine.harness.RunUntil([&] { return machine.dispatchTimes.Count() >= 1; }, std::chrono::seconds(5));
    trace->Enabled.store(false);
    if (!machine.harness.Traced(L"Active audio session count: " + std::to_wstring(sessions) + L"\n")) {
        state.SkipWithError("the next function run was not the calculation");
        return;
    }

    std::vector<double> runs;
    for (auto _ : state) {
        machine.dispatchTimes.Take();
        session.IsVideo.set(!session.IsVideo.value());
        if (!machine.harness.RunUntil([&] { return machine.dispatchTimes.Count() >= 1; }, std::chrono::seconds(5))) {
            state.SkipWithError("the calculation did not run");
            return;
        }
        const double run = Milliseconds(machine.dispatchTimes.Take().front());
        runs.push_back(run);
        state.SetIterationTime(run / 1000.0);
    }
    state.counters["median_us"] = Percentile(runs, 0.5) * 1000;
    state.counters["p99_us"] = Percentile(runs, 0.99) * 1000;
}
BENCHMARK(BM_UpdateCalculatedClassification)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->UseManualTime()
    ->Iterations(200)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace qv::bench

BENCHMARK_MAIN();
