// quorvane-replay: runs the real model on the simulated platform from a
// scenario file and prints what the host hears, with time offsets. The
// delays are real, so a scenario of ten seconds takes ten seconds.
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <numbers>
#include <sstream>
#include <thread>
#include <vector>

#include "classify/content_classifier.h"
#include "core/text.h"
#include "devices/audio_device_manager.h"
#include "host_frame.h"
#include "meta_log_listener.h"
#include "platform/sim/sim_platform.h"
#include "plugin_folder.h"
#include "replay_media_files.h"
#include "scenario.h"
#include "shell/entry.h"
#include "shell/main_loop.h"

namespace qv::replay {
namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::string scenario;
    bool trace = false;
    bool check = false;
    bool metaLog = false;
};

void PrintHelp() {
    std::printf(
        "Usage: quorvane-replay [--trace] [--check] [--meta-log] SCENARIO.json\n"
        "\n"
        "Runs the content classifier on a simulated machine described by the scenario\n"
        "and prints every message the host would hear: the time since the start, the\n"
        "endpoint and the word. The scenario format is described in\n"
        "tools/replay/README.md; examples are in tools/replay/scenarios/.\n"
        "\n"
        "  --trace   write the classifier's trace to standard error\n"
        "  --check   compare what the host heard with the scenario's \"expect\" list;\n"
        "            the exit code is 1 when they differ\n"
        "  --meta-log  serve the meta log pipe, as its viewer would, and print its\n"
        "            lines (\"meta:\") beside the host's words\n"
        "  --help    this text\n");
}

PROPVARIANT Ui4(uint32_t value) {
    PROPVARIANT v;
    v.vt = VT_UI4;
    v.ulVal = value;
    return v;
}

PROPVARIANT Text(const std::string& value) {
    PROPVARIANT v;
    v.vt = VT_LPWSTR;
    v.pwszVal = Utf8ToWide(value);
    return v;
}

// The first eight seconds of sound that a scenario asks for.
std::shared_ptr<std::vector<float>> MakeSamples(const FileSpec& file) {
    if (file.samples.empty() || file.rate == 0 || file.channels == 0) return nullptr;
    const uint32_t channels = file.channels;
    const std::size_t frames = static_cast<std::size_t>(file.rate) * 8;
    auto samples = std::make_shared<std::vector<float>>(frames * channels);
    for (std::size_t f = 0; f < frames; ++f) {
        const double t = static_cast<double>(f) / file.rate;
        double level = 0.3;
        // Speech: bursts of 0.7 s at uneven levels, so that blocks of one
        // second (stereo) and of two (mono) both see the level jump.
        static constexpr double kBursts[] = {0.5, 0.1, 0.35, 0.05, 0.6, 0.2, 0.45, 0.08, 0.3, 0.55, 0.12, 0.4};
        if (file.samples == "speech") level = kBursts[static_cast<std::size_t>(t / 0.7) % std::size(kBursts)];
        const double tone = std::sin(2 * std::numbers::pi * 220 * t);
        for (uint32_t c = 0; c < channels; ++c) {
            double value = level * tone;
            if (file.samples == "wide" && c % 2 == 1) value = level * std::sin(2 * std::numbers::pi * 330 * t);
            (*samples)[f * channels + c] = static_cast<float>(value);
        }
    }
    return samples;
}

class Replay {
public:
    Replay(const Scenario& scenario, const Options& options) : m_scenario(scenario), m_options(options) {}

    // The words the host heard, in order; "" for a withdrawal.
    std::vector<std::string> Heard() {
        std::lock_guard lock(m_heardLock);
        return m_heard;
    }

    int Run() {
        m_platform = MakeRef<CSimPlatform>();
        SetPlatform(m_platform);
        m_mediaFiles = std::make_unique<replay::CReplayMediaFiles>(m_platform);
        if (!BuildMachine() || !PlacePlugin()) return 1;
        if (!StartHost()) return 1;

        std::string endpointIds;
        for (const std::string& id : m_scenario.classify) endpointIds += (endpointIds.empty() ? "" : ",") + id;
        std::vector<std::string> arguments{"quorvane-replay", "/host-pipe-name=" + m_pipeName,
                                           "/endpoint-id=" + endpointIds};
        if (m_options.trace) EnableTrace();
        if (m_options.metaLog && !StartMetaLog()) return 1;

        EntryHooks hooks;
        hooks.graphReady = [this](CAudioDeviceManager* manager) { m_manager = manager; };
        hooks.loopReady = [this](const CRefPtr<IMessageLoop>& loop) {
            m_loop = loop;
            m_start = Clock::now();
            m_events = std::thread([this] { PlayEvents(); });
        };
        if (!m_scenario.description.empty()) std::printf("%s\n", m_scenario.description.c_str());
        std::fflush(stdout);
        int rc = RunContentClassifier(arguments, hooks);
        if (m_events.joinable()) m_events.join();
        // The classifier withdraws its classification as it stops; give the
        // host a moment to print it.
        WaitForQuietHost();
        if (m_server) m_server->Close();
        if (m_listener.joinable()) m_listener.join();
        m_platform->SimAudio->Shutdown();
        SetPlatform(nullptr);
        std::printf("%zu messages\n", m_received.load());
        return rc == 0 ? 0 : 1;
    }

private:
    bool BuildMachine() {
        CSimAudio& audio = *m_platform->SimAudio;
        for (const EndpointSpec& e : m_scenario.endpoints) {
            const std::wstring id = Utf8ToWide(e.id);
            audio.AddEndpoint(id, e.capture ? eCapture : eRender, e.state, Utf8ToWide(e.name));
            if (e.hasAutoPreset) audio.SetEndpointProperty(id, PKEY_HasAutoPreset, Ui4(*e.hasAutoPreset));
            if (e.enableAutoPreset) audio.SetEndpointProperty(id, PKEY_EnableAutoPreset, Ui4(*e.enableAutoPreset));
            if (e.featureMode) audio.SetEndpointProperty(id, PKEY_AutoPresetFeatureMode, Ui4(*e.featureMode));
            if (e.contentType) audio.SetEndpointProperty(id, PKEY_AudioContentType_EFX, Text(*e.contentType));
            if (e.isDefault)
                for (ERole role : {eConsole, eMultimedia, eCommunications})
                    audio.SetDefaultEndpoint(e.capture ? eCapture : eRender, role, id);
        }
        for (const ProcessSpec& p : m_scenario.processes) {
            if (!m_platform->SimProcesses->StartProcess(p.pid, Utf8ToWide(p.image), p.parent)) {
                std::fprintf(stderr, "quorvane-replay: process %u cannot be started\n", p.pid);
                return false;
            }
        }
        // Sessions that already play when the classifier starts: it finds
        // them by enumerating, not by a notification.
        for (const Event& event : m_scenario.events)
            if (event.kind == EventKind::Start && event.existing) Apply(event);
        audio.WaitUntilDelivered();
        return true;
    }

    // Before the start, which loads the plug-in and reads the registry.
    bool PlacePlugin() {
        if (m_scenario.networkOnly)
            m_platform->SimRegistry->SetDword(RegistryRoot::LocalMachine, L"Software\\Quorvane", L"AICCNNOnly",
                                              *m_scenario.networkOnly);
        std::string error;
        if (m_scenario.plugin.empty() || m_plugin.Place(*m_platform, m_scenario.plugin, error)) return true;
        std::fprintf(stderr, "quorvane-replay: %s\n", error.c_str());
        return false;
    }

    bool StartMetaLog() {
        CRefPtr<IPipes> pipes = m_platform->Pipes();
        const bool started = pipes && m_metaLog.Start(*pipes, [this](const std::string& line) {
            const double at = std::chrono::duration<double>(Clock::now() - m_start).count();
            std::printf("+%.3fs  meta: %s\n", at, line.c_str());
            std::fflush(stdout);
        });
        if (!started) std::fprintf(stderr, "quorvane-replay: cannot serve the meta log pipe\n");
        return started;
    }

    bool StartHost() {
        m_pipeName = "\\\\.\\pipe\\QuorvaneReplay-" + std::to_string(m_platform->SimSystem->GetCurrentProcessId()) +
                     "-" + std::to_string(Clock::now().time_since_epoch().count() % 1000000);
        // Absent: the name is given to the classifier, and nobody has it.
        if (m_scenario.host == HostKind::Absent) return true;
        CRefPtr<IPipes> pipes = m_platform->Pipes();
        if (!pipes || pipes->CreateNamedPipe(Utf8ToWide(m_pipeName), PipeServerOptions{}, m_server) != 0) {
            std::fprintf(stderr, "quorvane-replay: cannot listen on %s\n", m_pipeName.c_str());
            return false;
        }
        if (m_scenario.host == HostKind::Answers) m_listener = std::thread([this] { Listen(); });
        return true;
    }

    void Listen() {
        for (;;) {
            CRefPtr<IPipeConnection> connection;
            if (m_server->ConnectNamedPipe(connection) != 0 || !connection) return;
            std::string error;
            std::optional<std::string> text = host::ReceiveHostFrame(*connection, error);
            connection = nullptr;
            m_server->DisconnectNamedPipe();
            std::optional<host::HostMessage> message = text ? host::ParseHostMessage(*text) : std::nullopt;
            const double at = std::chrono::duration<double>(Clock::now() - m_start).count();
            if (!message) {
                std::printf("+%.3fs  (a broken message: %s)\n", at, text ? "not three lines" : error.c_str());
            } else {
                std::printf("+%.3fs  %s  %s\n", at, NameOf(message->endpointId).c_str(),
                            message->word.empty() ? "(withdrawn)" : message->word.c_str());
                std::lock_guard lock(m_heardLock);
                m_heard.push_back(message->word);
            }
            std::fflush(stdout);
            m_received.fetch_add(1);
            m_lastMessage.store(Clock::now().time_since_epoch().count());
        }
    }

    std::string NameOf(const std::string& id) const {
        for (const EndpointSpec& e : m_scenario.endpoints)
            if (e.id == id) return e.name;
        return id;
    }

    void WaitForQuietHost() {
        const auto deadline = Clock::now() + std::chrono::seconds(2);
        while (Clock::now() < deadline) {
            const auto last = Clock::time_point(Clock::duration(m_lastMessage.load()));
            if (Clock::now() - last > std::chrono::milliseconds(300)) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }

    void EnableTrace() {
        // Trace lines of the simulated debugger output go to standard error
        // as they come, through the registry switch that main reads.
        m_platform->SimDebugOutput->EchoToStderr.store(true);
        m_platform->SimRegistry->SetDword(RegistryRoot::LocalMachine, L"Software\\Quorvane\\Logging\\APO", L"MIRADO",
                                          1);
    }

    void PlayEvents() {
        for (const Event& event : m_scenario.events) {
            if (event.existing) continue;  // added with the machine
            std::this_thread::sleep_until(m_start + std::chrono::milliseconds(event.at));
            Apply(event);
            if (event.kind == EventKind::Stop) return;
        }
    }

    void Apply(const Event& event) {
        CSimAudio& audio = *m_platform->SimAudio;
        switch (event.kind) {
            case EventKind::Start: {
                SimSession session;
                session.processId = event.pid;
                session.instanceIdentifier = Utf8ToWide(event.session);
                session.displayName = Utf8ToWide(event.session);
                session.state = static_cast<AudioSessionState>(event.state);
                if (audio.AddSession(Utf8ToWide(event.endpoint), session).empty())
                    Warn(event, "the session cannot be added (its name is taken?)");
                break;
            }
            case EventKind::State:
                if (!audio.SetSessionState(Utf8ToWide(event.session), static_cast<AudioSessionState>(event.state)))
                    Warn(event, "no such session");
                break;
            case EventKind::End:
                if (!audio.SetSessionState(Utf8ToWide(event.session), AudioSessionStateExpired))
                    Warn(event, "no such session");
                break;
            case EventKind::Exit:
                if (!m_platform->SimProcesses->ExitProcess(event.pid)) Warn(event, "no such process");
                break;
            case EventKind::EndpointState:
                audio.SetEndpointState(Utf8ToWide(event.endpoint), static_cast<uint32_t>(event.state));
                break;
            case EventKind::Property: {
                const std::wstring id = Utf8ToWide(event.endpoint);
                if (event.key == "contentType")
                    audio.SetEndpointProperty(id, PKEY_AudioContentType_EFX, Text(event.value));
                else {
                    const PROPERTYKEY& key = event.key == "has"      ? PKEY_HasAutoPreset
                                             : event.key == "enable" ? PKEY_EnableAutoPreset
                                                                     : PKEY_AutoPresetFeatureMode;
                    audio.SetEndpointProperty(id, key, Ui4(static_cast<uint32_t>(std::stoul(event.value))));
                }
                break;
            }
            case EventKind::Default:
                for (ERole role : {eConsole, eMultimedia, eCommunications})
                    audio.SetDefaultEndpoint(eRender, role, Utf8ToWide(event.endpoint));
                break;
            case EventKind::File: PostToModel([this, event] { OpenFile(event); }); break;
            case EventKind::Disconnect:
                if (!audio.DisconnectSession(Utf8ToWide(event.session),
                                             static_cast<AudioSessionDisconnectReason>(event.reason)))
                    Warn(event, "no such session");
                break;
            case EventKind::Remove:
                // Only the endpoint goes, as when it is unplugged for good;
                // its sessions and the defaults are the scenario's to change.
                audio.RemoveEndpoint(Utf8ToWide(event.endpoint));
                break;
            case EventKind::Name:
                if (!audio.SetSessionDisplayName(Utf8ToWide(event.session), Utf8ToWide(event.name)))
                    Warn(event, "no such session");
                break;
            case EventKind::Volume:
                if (!audio.SetSessionVolume(Utf8ToWide(event.session), event.volume, event.mute))
                    Warn(event, "no such session");
                break;
            case EventKind::Stop:
                // The classifier waits for an answer as long as the host has
                // the pipe: a silent host lets go of it, or the stop would
                // never be seen.
                if (m_scenario.host == HostKind::Silent) m_server->Close();
                m_loop->PostThreadMessage(kQuitMessage, 0, 0);
                break;
        }
    }

    // The player holds the file open from now on. Its sessions ask the lister
    // anew, as they would when their process is found, and the classifier
    // reads the answer and examines the file through its own code.
    void OpenFile(const Event& event) {
        const FileSpec& file = event.file;
        if (!m_manager) return;
        std::shared_ptr<std::vector<float>> samples = MakeSamples(file);
        std::string problem;
        if (!m_mediaFiles->Open(file, samples.get(), problem)) Warn(event, problem.c_str());
        for (const CRefPtr<CContentClassifier>& classifier : m_manager->ContentClassifiers()) {
            CAudioSessionManager* sessions = classifier->AudioSessionManager->get();
            if (!sessions) continue;
            for (const CRefPtr<CAudioSession>& session : sessions->audioSessions)
                if (session->SourceProcessID.value() == file.pid)
                    session->PostUpdateProcessOpenedMediaFiles(std::chrono::milliseconds(0));
        }
    }

    void PostToModel(std::function<void()> function) { PostFunctionMessage(*m_loop, function); }

    void Warn(const Event& event, const char* what) {
        std::fprintf(stderr, "quorvane-replay: event at %u ms: %s\n", event.at, what);
    }

    const Scenario& m_scenario;
    const Options& m_options;
    CRefPtr<CSimPlatform> m_platform;
    std::unique_ptr<replay::CReplayMediaFiles> m_mediaFiles;
    PluginFolder m_plugin;
    MetaLogListener m_metaLog;  // stops before the platform goes
    CRefPtr<IPipeServer> m_server;
    CRefPtr<IMessageLoop> m_loop;
    CAudioDeviceManager* m_manager = nullptr;  // main thread only
    std::string m_pipeName;
    Clock::time_point m_start = Clock::now();
    std::thread m_listener;
    std::thread m_events;
    std::atomic<std::size_t> m_received{0};
    std::atomic<Clock::rep> m_lastMessage{0};
    std::mutex m_heardLock;
    std::vector<std::string> m_heard;
};

// The meta log pipe has one name on the whole machine: replays that run side
// by side (the tests do) each take a namespace of their own, unless one is
// given. Before the first pipe name is made, since it is read once.
void OwnPipeNamespace() {
    if (std::getenv("QUORVANE_PIPE_NAMESPACE")) return;
    const std::string ns = "replay-" + std::to_string(Clock::now().time_since_epoch().count() % 1000000000000);
#ifdef _WIN32
    _putenv_s("QUORVANE_PIPE_NAMESPACE", ns.c_str());
#else
    setenv("QUORVANE_PIPE_NAMESPACE", ns.c_str(), 1);
#endif
}

std::string Words(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& w : words) text += (text.empty() ? "" : ", ") + (w.empty() ? "(withdrawn)" : w);
    return text.empty() ? "nothing" : text;
}

int Main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            PrintHelp();
            return 0;
        }
        if (arg == "--trace") {
            options.trace = true;
        } else if (arg == "--check") {
            options.check = true;
        } else if (arg == "--meta-log") {
            options.metaLog = true;
        } else if (!arg.empty() && arg[0] == '-') {
            std::fprintf(stderr, "quorvane-replay: unknown option %s (see --help)\n", arg.c_str());
            return 2;
        } else if (options.scenario.empty()) {
            options.scenario = arg;
        } else {
            std::fprintf(stderr, "quorvane-replay: one scenario at a time\n");
            return 2;
        }
    }
    if (options.scenario.empty()) {
        PrintHelp();
        return 2;
    }
    std::ifstream file(options.scenario, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "quorvane-replay: cannot read %s\n", options.scenario.c_str());
        return 2;
    }
    std::stringstream text;
    text << file.rdbuf();
    std::string error;
    std::optional<Scenario> scenario = ParseScenario(text.str(), error);
    if (!scenario) {
        std::fprintf(stderr, "quorvane-replay: %s: %s\n", options.scenario.c_str(), error.c_str());
        return 2;
    }
    if (options.check && !scenario->expect) {
        std::fprintf(stderr, "quorvane-replay: %s has no \"expect\" list to check against\n", options.scenario.c_str());
        return 2;
    }
    if (options.metaLog) OwnPipeNamespace();
    Replay replay(*scenario, options);
    int rc = replay.Run();
    if (rc != 0 || !options.check) return rc;
    const std::vector<std::string> heard = replay.Heard();
    if (heard != *scenario->expect) {
        std::printf("NOT AS EXPECTED\n  expected: %s\n  heard:    %s\n", Words(*scenario->expect).c_str(),
                    Words(heard).c_str());
        return 1;
    }
    std::printf("as expected: %s\n", Words(heard).c_str());
    return 0;
}

}  // namespace
}  // namespace qv::replay

int main(int argc, char** argv) { return qv::replay::Main(argc, argv); }
