// The fixture of the end-to-end tests: a private folder with copies of the
// demo client under players' names, the sinks a test loads (unloaded after
// it), the processes it starts (ended after it, their output shown when it
// fails), and the host's words as it heard them.
#pragma once

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "host_transcript.h"
#include "logged_process.h"
#include "sound_server.h"
#include "support/pipe_test_server.h"
#include "support/wait_until.h"

namespace qv::test {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Bounds for what takes a moment on a loaded machine, a sanitizer build
// included; they catch a word that never comes, not a slow one.
inline constexpr auto kStartBound = 60s;
inline constexpr auto kWordBound = 20s;
inline constexpr auto kExitBound = 30s;

// The model holds its last word for 2 s of silence before falling back.
// Measured from the player's exit, which comes a moment after its stream
// has gone, so the bound is a little under that.
inline constexpr double kFallbackAtLeastSeconds = 1.5;

// Reading the outputs back costs: look at them every 20 ms.
inline constexpr auto kPoll = 20ms;

inline std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return "[" + text + "]";
}

class ClassifierEndToEnd : public testing::Test {
protected:
    void SetUp() override {
        static int serial = 0;
        const std::string unique = std::to_string(::getpid()) + "_" + std::to_string(++serial);
        m_folder = SoundServer::Get().Folder() + "/e2e-" + unique;
        m_bin = m_folder + "/bin";
        m_pipe = "\\\\.\\pipe\\QuorvaneE2E-" + unique;
        m_sinkPrefix = "qv_e2e_" + unique;
        std::filesystem::create_directories(m_bin);
        std::filesystem::create_directories(m_folder + "/registry");

        // The classifier's trace, on for the failure report: the switch is
        // in the machine's registry root, here a private folder.
        std::ofstream(m_folder + "/registry/HKEY_LOCAL_MACHINE.json")
            << R"({ "Software\\Quorvane\\Logging\\APO": { "MIRADO": 1 } })";

        // Copies, not links: the classifier judges /proc/PID/exe.
        CopyProgram(QV_DEMO_CLIENT, m_bin + "/vlc");
        CopyProgram(QV_DEMO_CLIENT, m_bin + "/zoom");
        // Made once for the program's tests.
        m_media = SoundServer::Get().Folder() + "/media";
        std::string made;
        ASSERT_TRUE(SoundServer::Run({QV_MAKE_DEMO_MEDIA, m_media}, &made)) << made;
    }

    void TearDown() override {
        if (HasFailure()) {
            for (const auto& process : m_processes) std::fprintf(stderr, "%s", process->Describe().c_str());
            std::string sinks;
            SoundServer::Pactl({"list", "short", "sinks"}, &sinks);
            std::fprintf(stderr, "---- sinks of the %s server:\n%s", SoundServer::Get().Name().c_str(), sinks.c_str());
        }
        // Players and host (with its classifier) end before their output.
        m_processes.clear();
        for (const std::string& module : m_modules) SoundServer::Pactl({"unload-module", module});
    }

    static void CopyProgram(const std::string& from, const std::string& to) {
        std::error_code error;
        std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, error);
        ASSERT_FALSE(error) << "copying " << from << " to " << to << ": " << error.message();
        std::filesystem::permissions(to, std::filesystem::perms::owner_all, error);
    }

    // A null sink of this test, with these proplist entries (no spaces in
    // the values). Gives its name.
    std::string LoadSink(const std::string& suffix, const std::string& description, const std::string& properties) {
        const std::string name = m_sinkPrefix + "_" + suffix;
        std::string index;
        const bool loaded = SoundServer::Pactl(
            {"load-module", "module-null-sink", "sink_name=" + name,
             "sink_properties='device.description=" + description + (properties.empty() ? "" : " " + properties) + "'"},
            &index);
        EXPECT_TRUE(loaded) << "loading the sink " << name;
        while (!index.empty() && (index.back() == '\n' || index.back() == ' ')) index.pop_back();
        if (loaded && !index.empty()) m_modules.push_back(index);
        // PipeWire's session manager shows a new sink in its own time.
        EXPECT_TRUE(WaitUntil(
            [&] {
                std::string sinks;
                return SoundServer::Pactl({"list", "short", "sinks"}, &sinks) && sinks.find(name) != std::string::npos;
            },
            10s, kPoll))
            << "the sink " << name << " did not appear";
        return name;
    }

    // A sink of this test with the automatic preset, made the default output
    // where the test needs it (pages count on the default output only).
    std::string LoadPresetSink(const std::string& suffix, const std::string& description, bool asDefault) {
        const std::string name =
            LoadSink(suffix, description,
                     "quorvane.auto-preset.has=1 quorvane.auto-preset.enable=1 quorvane.auto-preset.feature-mode=0");
        if (asDefault) {
            EXPECT_TRUE(SoundServer::Get().MakeDefaultSink(name)) << SoundServer::Get().Diagnostics();
        }
        return name;
    }

    LoggedProcess& Start(const std::string& name, const std::vector<std::string>& argv,
                         const std::vector<std::string>& environment = {}) {
        m_processes.push_back(std::make_unique<LoggedProcess>(name, argv, m_folder, environment));
        EXPECT_TRUE(m_processes.back()->Started()) << "cannot start " << argv.front();
        return *m_processes.back();
    }

    // quorvane-host on this test's pipe, starting the classifier for the
    // default output or for the given one, with the trace on its standard
    // error. The extra environment entries reach the classifier too, which
    // may be a copy of the program elsewhere.
    LoggedProcess& StartHost(const std::string& endpoint = {}, std::vector<std::string> environment = {},
                             const std::string& classifier = QV_CONTENT_CLASSIFIER) {
        std::vector<std::string> argv{QV_HOST_TOOL, "--pipe", m_pipe, "--classifier", classifier};
        if (!endpoint.empty()) argv.insert(argv.end(), {"--endpoint", endpoint});
        environment.insert(environment.end(),
                           {"QUORVANE_REGISTRY_DIR=" + m_folder + "/registry", "QUORVANE_DEBUG_OUTPUT=stderr"});
        return Start("host", argv, environment);
    }

    // Asks the process to end as a user would; its exit code, or nothing if
    // it still runs after the bound.
    static std::optional<int> Stop(LoggedProcess& process, int signal = SIGINT) {
        process.Signal(signal);
        return process.WaitForExit(kExitBound);
    }

    // Waits for the host to hear `word` on `output` as its word number
    // `position` (from 0) there, and gives when it was first seen.
    static std::optional<Clock::time_point> WaitForWord(LoggedProcess& host, const std::string& output,
                                                        std::size_t position, const std::string& word,
                                                        std::chrono::milliseconds bound) {
        std::optional<Clock::time_point> seen;
        WaitUntil(
            [&] {
                const std::vector<std::string> words = WordsFor(ParseHostOutput(host.Output()), output);
                if (words.size() > position && words[position] == word) seen = Clock::now();
                // A wrong word in its place will not turn right: stop at once.
                return words.size() > position || !host.Running();
            },
            bound, kPoll);
        return seen;
    }

    // Waits for the host's latest word on output to be `word`, whatever came
    // between: where a fallback may or may not come first, by timing.
    static bool WaitForLatestWord(LoggedProcess& host, const std::string& output, const std::string& word,
                                  std::chrono::milliseconds bound) {
        const auto latestIs = [&] {
            const std::vector<std::string> words = Heard(host, output);
            return !words.empty() && words.back() == word;
        };
        WaitUntil([&] { return latestIs() || !host.Running(); }, bound, kPoll);
        return latestIs();
    }

    static std::vector<std::string> Heard(LoggedProcess& host, const std::string& output) {
        return WordsFor(ParseHostOutput(host.Output()), output);
    }

    // The meta log's lines so far, from this test's server on its pipe.
    static std::vector<std::wstring> MetaLogLines(const PipeTestServer& server) {
        std::vector<std::wstring> lines;
        for (const PipeTestServer::Connection& connection : server.Connections())
            if (connection.size() == 2 && connection[1].size() >= 2)
                lines.push_back(Utf16LeToWide(connection[1].data(), connection[1].size() - 2));
        return lines;
    }
    static bool HasLine(const PipeTestServer& server, const std::wstring& line) {
        for (const std::wstring& l : MetaLogLines(server))
            if (l == line) return true;
        return false;
    }

    std::string m_folder, m_bin, m_pipe, m_sinkPrefix, m_media;
    std::vector<std::string> m_modules;
    std::vector<std::unique_ptr<LoggedProcess>> m_processes;
};

}  // namespace qv::test
