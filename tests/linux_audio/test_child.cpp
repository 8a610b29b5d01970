#include "test_child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace qv::test {

TestChild::TestChild(const std::vector<std::string>& argv, const std::vector<std::string>& extraEnvironment) {
    int in[2], out[2];
    if (::pipe2(in, O_CLOEXEC) != 0) return;
    if (::pipe2(out, O_CLOEXEC) != 0) {
        ::close(in[0]);
        ::close(in[1]);
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    std::vector<std::string> environment;
    for (char** e = environ; *e; ++e) environment.emplace_back(*e);
    environment.insert(environment.end(), extraEnvironment.begin(), extraEnvironment.end());
    std::vector<char*> env;
    for (const std::string& e : environment) env.push_back(const_cast<char*>(e.c_str()));
    env.push_back(nullptr);
    pid_t pid = 0;
    int error = ::posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), env.data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    if (error != 0) {
        ::close(in[1]);
        ::close(out[0]);
        return;
    }
    m_pid = pid;
    m_in = in[1];
    m_out = out[0];
}

TestChild::~TestChild() {
    if (m_pid > 0 && !m_reaped) {
        ::kill(m_pid, SIGKILL);
        Wait();
    }
    if (m_in >= 0) ::close(m_in);
    if (m_out >= 0) ::close(m_out);
}

bool TestChild::WriteLine(const std::string& line) {
    if (m_in < 0) return false;
    std::string text = line + "\n";
    return ::write(m_in, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::optional<std::string> TestChild::ReadLine(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        auto newline = m_buffered.find('\n');
        if (newline != std::string::npos) {
            std::string line = m_buffered.substr(0, newline);
            m_buffered.erase(0, newline + 1);
            return line;
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || m_out < 0) return std::nullopt;
        pollfd entry{m_out, POLLIN, 0};
        if (::poll(&entry, 1, static_cast<int>(left.count())) <= 0) continue;
        char buffer[512];
        ssize_t n = ::read(m_out, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return std::nullopt;
        m_buffered.append(buffer, static_cast<std::size_t>(n));
    }
}

void TestChild::CloseInput() {
    if (m_in >= 0) ::close(m_in);
    m_in = -1;
}

void TestChild::Kill(int signal) {
    if (m_pid > 0 && !m_reaped) ::kill(m_pid, signal);
}

int TestChild::Wait() {
    if (m_pid <= 0 || m_reaped) return -1;
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_reaped = true;
    return status;
}

}  // namespace qv::test
