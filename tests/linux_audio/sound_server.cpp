#include "sound_server.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/wait_until.h"

extern char** environ;

namespace qv::test {

namespace {

// Registered before main, so that the server runs before the first test.
SoundServer* const g_server = static_cast<SoundServer*>(testing::AddGlobalTestEnvironment(new SoundServer));

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string LastLines(const std::string& text, std::size_t count) {
    std::size_t start = text.size();
    for (std::size_t seen = 0; start > 0 && seen <= count;)
        if (text[--start] == '\n') ++seen;
    return start == 0 ? text : text.substr(start + 1);
}

constexpr const char* kDaemonLogs[] = {"pulseaudio", "pipewire", "wireplumber", "pipewire-pulse"};

}  // namespace

SoundServer& SoundServer::Get() { return *g_server; }

void SoundServer::SetUp() {
    const char* wanted = std::getenv("QV_SOUND_SERVER");
    m_server = wanted && *wanted ? wanted : "pulseaudio";
    char folder[] = "/tmp/qv-linux-audio-XXXXXX";
    ASSERT_NE(::mkdtemp(folder), nullptr);
    m_folder = folder;
    for (const char* sub : {"/runtime", "/home", "/tmp"}) ::mkdir((m_folder + sub).c_str(), 0700);

    // Set while the program has no other thread yet; nothing changes the
    // environment later.
    ::setenv("XDG_RUNTIME_DIR", (m_folder + "/runtime").c_str(), 1);
    ::setenv("PULSE_SERVER", ("unix:" + m_folder + "/runtime/pulse/native").c_str(), 1);
    ::setenv("HOME", (m_folder + "/home").c_str(), 1);
    ::setenv("TMPDIR", (m_folder + "/tmp").c_str(), 1);
    ::setenv("QUORVANE_ENDPOINT_PROPERTIES", EndpointPropertiesFile().c_str(), 1);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "PULSE_PROP", "PULSE_COOKIE", "PULSE_SINK",
                             "PULSE_SOURCE", "DBUS_SESSION_BUS_ADDRESS", "DISPLAY"})
        ::unsetenv(name);
    ASSERT_TRUE(Start()) << "the " << m_server << " test server did not start; see the logs in " << m_folder;
}

void SoundServer::TearDown() {
    Stop();
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

bool SoundServer::Start() {
    ::unlink((m_folder + "/ready").c_str());
    pid_t pid = ::fork();
    if (pid < 0) return false;
    if (pid == 0) {
        // The script ends its daemons when it gets this, also when the test
        // program dies without a word.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        int null = ::open("/dev/null", O_RDONLY);
        if (null >= 0) ::dup2(null, 0);
        ::execl("/bin/bash", "bash", QV_SOUND_SERVER_SCRIPT, m_server.c_str(), m_folder.c_str(), nullptr);
        ::_exit(127);
    }
    m_pid = pid;
    const bool settled = WaitUntil(
        [&] {
            if (::access((m_folder + "/ready").c_str(), F_OK) == 0) return true;
            int status = 0;
            if (::waitpid(m_pid, &status, WNOHANG) != m_pid) return false;
            m_pid = -1;  // the script ended without getting ready
            return true;
        },
        kWaitBound, std::chrono::milliseconds(20));
    if (settled && m_pid > 0) return true;
    std::fprintf(stderr, "%s\n", Diagnostics().c_str());
    Stop();
    return false;
}

void SoundServer::Stop() {
    if (m_pid <= 0) return;
    ::kill(m_pid, SIGTERM);
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
}

std::string SoundServer::BusAddress() const {
    std::string address = ReadFile(m_folder + "/bus-address");
    while (!address.empty() && (address.back() == '\n' || address.back() == ' ')) address.pop_back();
    return address;
}

bool SoundServer::Run(const std::vector<std::string>& command, std::string* output) {
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    std::vector<char*> argv;
    for (const std::string& part : command) argv.push_back(const_cast<char*>(part.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    int error = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    std::string text;
    char buffer[4096];
    ssize_t n;
    while (error == 0 && ((n = ::read(out[0], buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR)))
        if (n > 0) text.append(buffer, static_cast<std::size_t>(n));
    ::close(out[0]);
    if (error != 0) return false;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (output) *output = text;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool SoundServer::Pactl(const std::vector<std::string>& arguments, std::string* output) {
    std::vector<std::string> command{"pactl"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return Run(command, output);
}

bool SoundServer::MakeDefaultSink(const std::string& name) const {
    auto nextRequest = std::chrono::steady_clock::now();
    return WaitUntil(
        [&] {
            const auto now = std::chrono::steady_clock::now();
            if (now >= nextRequest) {
                Pactl({"set-default-sink", name});
                nextRequest = now + std::chrono::seconds(1);
            }
            std::string current;
            return Pactl({"get-default-sink"}, &current) && current == name + "\n";
        },
        kWaitBound, std::chrono::milliseconds(20));
}

std::string SoundServer::Diagnostics() const {
    std::string report = "the " + m_server + " test server in " + m_folder + ":";
    for (const char* daemon : kDaemonLogs) {
        const std::string log = ReadFile(m_folder + "/" + daemon + ".log");
        if (log.empty() && !std::filesystem::exists(m_folder + "/" + daemon + ".log")) continue;
        const std::string pid = ReadFile(m_folder + "/" + daemon + ".pid");
        const bool running = !pid.empty() && ::kill(std::atoi(pid.c_str()), 0) == 0;
        report += "\n---- " + std::string(daemon) + (running ? " (running)" : " (not running)") +
                  ", end of its log:\n" + LastLines(log, 30);
    }
    std::string current;
    Pactl({"get-default-sink"}, &current);
    report += "\n---- the default sink it reports: " + current;
    return report;
}

}  // namespace qv::test
