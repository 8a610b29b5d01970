// The device and session model on the simulated machine, with tracing off
// as in a normal run:
// - how long a session's turn to active takes from the platform's event (on
//   the machine's callback thread) to the model's activeAudioSessions
//   ItemAdded on the main thread: the callback, the post, the loop's wake-up,
//   the read of the state, the process lookup and the ancestor walk;
// - what it costs to build an endpoint's device with 50 sessions playing,
//   from Initialize to all 50 in audioSessions.
// The benchmark's thread plays the main thread and turns the loop itself.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "core/text.h"
#include "devices/audio_device_manager.h"
#include "platform/codes.h"
#include "platform/portable_message_loop.h"
#include "platform/sim/sim_platform.h"
#include "sessions/audio_session.h"
#include "sessions/audio_session_manager.h"
#include "sessions/process_info.h"
#include "shell/main_loop.h"

namespace qv {
namespace {

using Clock = std::chrono::steady_clock;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";

// main in small: the simulated machine, a loop on this thread, a trace that
// is off, a dispatcher and a meta log.
class BenchMain {
public:
    BenchMain() {
        platform = MakeRef<CSimPlatform>();
        SetPlatform(platform);
        loop = MakeRef<CPortableMessageLoop>();
        trace = MakeRef<CTraceFuncCallTarget>();
        CRefPtr<IMessageLoop> target = loop;
        dispatcher = MakeRef<CAsyncActionDispatcher>(
            [target](const std::function<void()>& function) { return PostFunctionMessage(*target, function); });
        log = MakeRef<CContentClassifierLog>(trace);
    }
    ~BenchMain() {
        RunPending();
        CProcessInfo::ClearCache();
        log.reset();
        dispatcher.reset();
        loop->Close();
        loop.reset();
        trace.reset();
        SetPlatform(nullptr);
    }

    // Runs posted functions until the condition holds.
    template <class Condition>
    void RunUntil(Condition done) {
        while (!done()) DispatchOne(std::chrono::milliseconds(10));
    }
    void RunPending() {
        while (DispatchOne(std::chrono::milliseconds(0))) {
        }
    }

    CRefPtr<CAudioDeviceManager> NewDeviceManager() {
        CRefPtr<CAudioDeviceManager> manager;
        manager.Attach(new CAudioDeviceManager(trace, dispatcher, {}, log));
        return manager;
    }
    // The session manager that the endpoint's classifier would make.
    CRefPtr<CAudioSessionManager> WatchSessions(const CRefPtr<CAudioDevice>& device) {
        CRefPtr<CAudioSessionManager> manager;
        manager.Attach(new CAudioSessionManager(device->EndpointId(), trace, dispatcher, log));
        manager->AudioDevice.set(device);
        return manager;
    }

    CRefPtr<CSimPlatform> platform;
    CRefPtr<CPortableMessageLoop> loop;
    CRefPtr<ITraceFuncCallTarget> trace;
    CRefPtr<IAsyncActionDispatcher> dispatcher;
    CRefPtr<CContentClassifierLog> log;

private:
    bool DispatchOne(std::chrono::milliseconds wait) {
        LoopMessage message;
        if (!loop->GetMessageFor(message, wait)) return false;
        if (message.message == kPostedFunctionMessage && message.lParam != 0) {
            auto* function = reinterpret_cast<std::function<void()>*>(message.lParam);
            (*function)();
            delete function;
        }
        return true;
    }
};

// Notes the moment a session enters a collection.
class ArrivalClock {
public:
    explicit ArrivalClock(CAudioSessionManager::SessionCollection& collection) : m_collection(collection) {
        m_collection.Subscribe(this, {&Removed, &Added});
    }
    ~ArrivalClock() { m_collection.Unsubscribe(this, {&Removed, &Added}); }

    bool arrived = false;
    Clock::time_point at;

private:
    static void Added(void* self, void*, int32_t) {
        auto* clock = static_cast<ArrivalClock*>(self);
        clock->at = Clock::now();
        clock->arrived = true;
    }
    static void Removed(void*, void*, int32_t) {}
    CAudioSessionManager::SessionCollection& m_collection;
};

double Percentile(std::vector<double> values, double fraction) {
    std::sort(values.begin(), values.end());
    const auto rank = static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(values.size())));
    return values[std::clamp<std::size_t>(rank, 1, values.size()) - 1];
}

CRefPtr<CAudioDevice> DeviceOf(const CAudioDeviceManager& manager, const std::wstring& id) {
    for (const auto& device : manager.AudioDevices)
        if (device->EndpointId() == id) return device;
    return nullptr;
}

void BM_SessionActivationToActiveList(benchmark::State& state) {
    BenchMain main;
    CSimAudio& audio = *main.platform->SimAudio;
    CSimProcesses& processes = *main.platform->SimProcesses;
    processes.StartProcess(500, L"C:\\Windows\\explorer.exe");
    processes.StartProcess(4100, L"C:\\Program Files\\VideoLAN\\VLC\\vlc.exe", 500);
    audio.AddEndpoint(kSpeakers, eRender);
    const std::wstring id = audio.AddSession(kSpeakers, {.processId = 4100, .announce = false});
    CRefPtr<CAudioDeviceManager> devices = main.NewDeviceManager();
    devices->Initialize({WideToUtf8(kSpeakers)});
    CRefPtr<CAudioSessionManager> sessions = main.WatchSessions(DeviceOf(*devices, kSpeakers));
    main.RunPending();

    std::vector<double> latencyUs;
    for (auto _ : state) {
        ArrivalClock arrival(sessions->activeAudioSessions);
        const Clock::time_point raised = Clock::now();
        audio.SetSessionState(id, AudioSessionStateActive);
        main.RunUntil([&] { return arrival.arrived; });
        const double us = std::chrono::duration<double, std::micro>(arrival.at - raised).count();
        latencyUs.push_back(us);
        state.SetIterationTime(us / 1e6);

        state.PauseTiming();
        audio.SetSessionState(id, AudioSessionStateInactive);
        main.RunUntil([&] { return sessions->activeAudioSessions.empty(); });
        state.ResumeTiming();
    }
    sessions = nullptr;
    devices = nullptr;
    if (latencyUs.empty()) return;
    state.counters["median_us"] = Percentile(latencyUs, 0.5);
    state.counters["p99_us"] = Percentile(latencyUs, 0.99);
    state.counters["max_us"] = *std::max_element(latencyUs.begin(), latencyUs.end());
}
BENCHMARK(BM_SessionActivationToActiveList)->UseManualTime()->Iterations(2000)->Unit(benchmark::kMicrosecond);

void BM_BuildDeviceWithSessions(benchmark::State& state) {
    const int sessionCount = static_cast<int>(state.range(0));
    constexpr int kProcesses = 10;
    BenchMain main;
    CSimAudio& audio = *main.platform->SimAudio;
    CSimProcesses& processes = *main.platform->SimProcesses;
    processes.StartProcess(500, L"C:\\Windows\\explorer.exe");
    audio.AddEndpoint(kSpeakers, eRender);
    for (int i = 0; i < sessionCount; ++i)
        audio.AddSession(kSpeakers, {.processId = static_cast<uint32_t>(5000 + 4 * (i % kProcesses)),
                                     .displayName = L"Player " + std::to_wstring(i),
                                     .state = AudioSessionStateActive,
                                     .announce = false});

    std::size_t built = 0;
    for (auto _ : state) {
        state.PauseTiming();
        for (int p = 0; p < kProcesses; ++p)
            processes.StartProcess(static_cast<uint32_t>(5000 + 4 * p),
                                   L"C:\\Apps\\Player" + std::to_wstring(p) + L"\\player.exe", 500);
        CRefPtr<CAudioDeviceManager> devices = main.NewDeviceManager();
        state.ResumeTiming();

        devices->Initialize({WideToUtf8(kSpeakers)});
        CRefPtr<CAudioSessionManager> sessions = main.WatchSessions(DeviceOf(*devices, kSpeakers));
        main.RunUntil([&] { return sessions->audioSessions.size() == static_cast<std::size_t>(sessionCount); });
        built = sessions->activeAudioSessions.size();

        state.PauseTiming();
        sessions = nullptr;
        devices = nullptr;
        // The processes end, so that their watches end with them and every
        // round looks its processes up afresh.
        for (int p = 0; p < kProcesses; ++p) processes.ExitProcess(static_cast<uint32_t>(5000 + 4 * p));
        main.RunUntil([&] { return processes.RunningThreadCount() == 0; });
        main.RunPending();
        CProcessInfo::ClearCache();
        state.ResumeTiming();
    }
    state.counters["active_sessions"] = static_cast<double>(built);
}
BENCHMARK(BM_BuildDeviceWithSessions)->Arg(50)->Iterations(200)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace qv

BENCHMARK_MAIN();
