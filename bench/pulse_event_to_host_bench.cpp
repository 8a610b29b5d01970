// The event-to-host milliseconds of the Linux program on a real sound server.
// A private server (PulseAudio, or PipeWire when QV_SOUND_SERVER=pipewire)
// has one null sink with the automatic preset; the classifier runs as a
// process of its own for it; this program is its host. A player copied
// under a movie player's name uncorks its stream, and the time runs from the
// server's announcement of that change, as any client of the server hears
// it, to the host's receipt of "Movie". Between two measurements the player
// corks again and the host hears the fallback after the silence.
//
// Beside the overhead it reports the ancestor walk that the classifier makes
// on its main thread before the first delay starts: one system-wide process
// snapshot for each step up from the player, without a cache, as designed.
// Its time grows with the depth of the player's process tree and the number
// of processes, so the part of the overhead beyond it is the figure that
// the code itself answers for.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <pulse/pulseaudio.h>

#include "event_latency_report.h"
#include "logged_process.h"
#include "platform/native.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "sessions/process_info.h"
#include "sound_server.h"
#include "support/test_host.h"
#include "test_child.h"

namespace qv::bench {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr const char* kSink = "qv_bench_speakers";
// Long enough for a start on a loaded machine and for the 2 s of silence.
constexpr auto kWordLimit = 20s;

// A client of the server of its own that notes when each sink input
// changes, as the server announces it.
class SinkInputChanges {
public:
    SinkInputChanges() : m_loop(pa_threaded_mainloop_new()) {
        if (!m_loop || pa_threaded_mainloop_start(m_loop.get()) < 0) return;
        Locked lock(m_loop.get());
        m_context.reset(pa_context_new(pa_threaded_mainloop_get_api(m_loop.get()), "qv event-to-host bench"));
        pa_context_set_state_callback(m_context.get(), &SinkInputChanges::Wake, m_loop.get());
        pa_context_set_subscribe_callback(m_context.get(), &SinkInputChanges::OnEvent, this);
        if (pa_context_connect(m_context.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return;
        pa_context_state_t state;
        while ((state = pa_context_get_state(m_context.get())) != PA_CONTEXT_READY && PA_CONTEXT_IS_GOOD(state))
            pa_threaded_mainloop_wait(m_loop.get());
        if (state != PA_CONTEXT_READY) return;
        if (pa_operation* o = pa_context_subscribe(m_context.get(), PA_SUBSCRIPTION_MASK_SINK_INPUT, nullptr, nullptr))
            pa_operation_unref(o);
        m_ready = true;
    }
    ~SinkInputChanges() {
        if (m_loop) pa_threaded_mainloop_stop(m_loop.get());
        if (m_context) pa_context_disconnect(m_context.get());
    }
    SinkInputChanges(const SinkInputChanges&) = delete;
    SinkInputChanges& operator=(const SinkInputChanges&) = delete;

    bool Ready() const { return m_ready; }
    // The first change of the sink input announced at or after `since`.
    std::optional<Clock::time_point> FirstChangeSince(uint32_t index, Clock::time_point since) const {
        std::lock_guard lock(m_mutex);
        for (const auto& [changed, when] : m_changes)
            if (changed == index && when >= since) return when;
        return std::nullopt;
    }

private:
    struct LoopFree {
        void operator()(pa_threaded_mainloop* loop) const { pa_threaded_mainloop_free(loop); }
    };
    struct ContextUnref {
        void operator()(pa_context* context) const { pa_context_unref(context); }
    };
    struct Locked {
        explicit Locked(pa_threaded_mainloop* loop) : loop(loop) { pa_threaded_mainloop_lock(loop); }
        ~Locked() { pa_threaded_mainloop_unlock(loop); }
        pa_threaded_mainloop* loop;
    };

    static void Wake(pa_context*, void* loop) {
        pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0);
    }
    static void OnEvent(pa_context*, pa_subscription_event_type_t type, uint32_t index, void* self) {
        const Clock::time_point now = Clock::now();
        if ((type & PA_SUBSCRIPTION_EVENT_TYPE_MASK) != PA_SUBSCRIPTION_EVENT_CHANGE) return;
        auto* changes = static_cast<SinkInputChanges*>(self);
        std::lock_guard lock(changes->m_mutex);
        changes->m_changes.emplace_back(index, now);
    }

    // The loop goes last: the context is released while it is stopped.
    std::unique_ptr<pa_threaded_mainloop, LoopFree> m_loop;
    std::unique_ptr<pa_context, ContextUnref> m_context;
    bool m_ready = false;
    mutable std::mutex m_mutex;
    std::vector<std::pair<uint32_t, Clock::time_point>> m_changes;
};

// The walk as the classifier makes it: the parent by the model's own
// snapshot lookup, while the parent opens with its times and image path.
bool OpensWithImage(IProcesses& processes, uint32_t pid) {
    CRefPtr<IProcessHandle> process;
    FILETIME times[4];
    std::wstring image;
    return processes.OpenProcess(kProcessSynchronizeQueryInformation, pid, process) == 0 && process &&
           process->GetProcessTimes(times[0], times[1], times[2], times[3]) == 0 &&
           process->GetModuleFileNameEx(image) == 0;
}

// One walk from the player: the milliseconds, and the snapshots taken.
std::pair<double, int> TimeAncestorWalk(IProcesses& processes, uint32_t player) {
    const Clock::time_point start = Clock::now();
    int snapshots = 1;
    for (uint32_t p = CProcessInfo::GetParentProcessId(player); p != 0 && OpensWithImage(processes, p); ++snapshots)
        p = CProcessInfo::GetParentProcessId(p);
    return {Milliseconds(Clock::now() - start), snapshots};
}

// The tests' corking player under another name, spoken to through its
// standard input and output: "cork" and "uncork", each answered with "ok"
// once the server has applied it.
class CorkingPlayer {
public:
    CorkingPlayer(const std::string& program, const std::string& sink) : m_child({program, sink, "--corked"}) {}
    ~CorkingPlayer() {
        m_child.CloseInput();  // its end of input: it quits
        m_child.Wait();
    }
    CorkingPlayer(const CorkingPlayer&) = delete;
    CorkingPlayer& operator=(const CorkingPlayer&) = delete;

    // Its sink input's index, once its stream is there.
    std::optional<uint32_t> WaitReady() {
        unsigned index = 0;
        const std::optional<std::string> line = m_child.ReadLine(kWordLimit);
        if (!line || std::sscanf(line->c_str(), "ready %u", &index) != 1) return std::nullopt;
        return index;
    }
    bool Command(const std::string& command) { return m_child.WriteLine(command) && m_child.ReadLine() == "ok"; }
    uint32_t Pid() const { return static_cast<uint32_t>(m_child.Pid()); }

private:
    test::TestChild m_child;
};

void BM_PulseEventToHostMessage(benchmark::State& state) {
    test::SoundServer& server = test::SoundServer::Get();
    if (!test::SoundServer::Pactl({"load-module", "module-null-sink", std::string("sink_name=") + kSink,
                                   "sink_properties='device.description=Bench quorvane.auto-preset.has=1 "
                                   "quorvane.auto-preset.enable=1 quorvane.auto-preset.feature-mode=0'"})) {
        state.SkipWithError("the sink could not be loaded");
        return;
    }
    SinkInputChanges changes;
    // The process's platform, set in main: the walk's lookups reach it as the
    // classifier's reach its own.
    const CRefPtr<IPlatform> platform = GetPlatform();
    test::TestHost host(platform->Pipes());
    const std::string folder = server.Folder() + "/bench";
    std::filesystem::create_directories(folder);
    // A copy, not a link: the classifier judges the program by its file.
    const std::string vlc = folder + "/vlc";
    std::error_code error;
    std::filesystem::copy_file(QV_TEST_CORKING_PLAYER, vlc, std::filesystem::copy_options::overwrite_existing, error);
    if (!changes.Ready() || host.CreateError() != 0 || error) {
        state.SkipWithError("the server's events, the host pipe or the player's copy are not there");
        return;
    }

    test::LoggedProcess classifier(
        "classifier",
        {QV_CONTENT_CLASSIFIER, "/host-pipe-name=" + host.PipeName(), std::string("/endpoint-id=") + kSink}, folder);
    CorkingPlayer player(vlc, kSink);
    const std::optional<uint32_t> stream = player.WaitReady();
    // Nothing plays yet: the classifier's first word is the fallback.
    if (!stream || !host.WaitForCount(1, kWordLimit)) {
        state.SkipWithError(("the classifier or the player did not start:\n" + classifier.Describe()).c_str());
        return;
    }

    std::vector<double> latencies, walkTimes;
    int snapshots = 0;
    for (auto _ : state) {
        const std::size_t heard = host.Count();
        const Clock::time_point asked = Clock::now();
        if (!player.Command("uncork") || !host.WaitForCount(heard + 1, kWordLimit) || host.Words().back() != "Movie") {
            state.SkipWithError("the host did not hear Movie");
            return;
        }
        const std::optional<Clock::time_point> announced = changes.FirstChangeSince(*stream, asked);
        if (!announced) {
            state.SkipWithError("the server never announced the uncorked stream");
            return;
        }
        const double latency = Milliseconds(host.Records().back().arrival - *announced);
        latencies.push_back(latency);
        state.SetIterationTime(latency / 1000.0);
        // The silence after corking ends in the fallback: the next uncork
        // changes the word again.
        if (!player.Command("cork") || !host.WaitForCount(heard + 2, kWordLimit)) {
            state.SkipWithError("the host did not hear the fallback after the silence");
            return;
        }
        // The walk is timed here, in every round, while the classifier is
        // idle, so that it meets the machine as the round's walk did.
        for (int walk = 0; walk < 3; ++walk) {
            const auto [milliseconds, steps] = TimeAncestorWalk(*platform->Processes(), player.Pid());
            walkTimes.push_back(milliseconds);
            snapshots = steps;
        }
    }
    ReportEventLatencies(state, latencies);
    const double walkMedian = Percentile(walkTimes, 0.5);
    state.counters["walk_snapshots"] = snapshots;
    state.counters["walk_median_ms"] = walkMedian;
    state.counters["overhead_beyond_walk_median_ms"] = state.counters["overhead_median_ms"] - walkMedian;
    classifier.Signal(SIGINT);
    classifier.WaitForExit(kWordLimit);
}
// Each round waits out the 2 s of silence before the fallback.
BENCHMARK(BM_PulseEventToHostMessage)->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qv::bench

// The private server is the tests' own, started here rather than by a test
// runner, before the benchmark and its threads.
int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    qv::test::SoundServer& server = qv::test::SoundServer::Get();
    server.SetUp();
    if (server.Folder().empty()) return 1;
    qv::SetPlatform(qv::CreateNativePlatform());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    qv::SetPlatform(nullptr);
    server.TearDown();
    return 0;
}
