#include "support/private_session_bus_linux.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support/wait_until.h"

extern char** environ;

namespace qv::test {

namespace {

// The daemon's first line on the descriptor is its address, written once it
// listens.
std::string ReadAddress(int fd) {
    std::string text;
    const auto deadline = std::chrono::steady_clock::now() + kWaitBound;
    while (text.find('\n') == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        pollfd entry{fd, POLLIN, 0};
        if (::poll(&entry, 1, 100) <= 0) continue;
        char buffer[256];
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        text.append(buffer, static_cast<std::size_t>(n));
    }
    auto newline = text.find('\n');
    return newline == std::string::npos ? std::string() : text.substr(0, newline);
}

}  // namespace

PrivateSessionBus::PrivateSessionBus(const std::vector<ActivatableService>& services) {
    char folder[] = "/tmp/qv-session-bus-XXXXXX";
    if (!::mkdtemp(folder)) return;
    m_folder = folder;
    std::filesystem::create_directory(m_folder + "/services");
    for (const ActivatableService& service : services) {
        std::ofstream(m_folder + "/services/" + service.name + ".service")
            << "[D-BUS Service]\nName=" << service.name << "\nExec=" << service.commandLine << "\n";
    }
    std::ofstream(m_folder + "/bus.conf")
        << "<busconfig><type>session</type><listen>unix:path=" << m_folder << "/bus</listen>"
        << "<servicedir>" << m_folder << "/services</servicedir>"
        << "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
        << "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n";

    int address[2];
    if (::pipe2(address, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, address[1], 3);
    // What it says (activations, its complaints as root) goes to its log.
    const std::string log = m_folder + "/dbus.log";
    posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const std::string config = "--config-file=" + m_folder + "/bus.conf";
    const char* argv[] = {"dbus-daemon", config.c_str(), "--nofork", "--nopidfile", "--print-address=3", nullptr};
    if (::posix_spawnp(&m_pid, argv[0], &actions, nullptr, const_cast<char**>(argv), environ) != 0) m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(address[1]);
    if (m_pid > 0) m_address = ReadAddress(address[0]);
    ::close(address[0]);
}

PrivateSessionBus::~PrivateSessionBus() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGTERM);
        int status = 0;
        while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
        }
    }
    std::error_code ignored;
    if (!m_folder.empty()) std::filesystem::remove_all(m_folder, ignored);
}

}  // namespace qv::test
