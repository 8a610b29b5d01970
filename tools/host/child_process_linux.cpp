#include <cerrno>
#include <csignal>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "child_process.h"

extern char** environ;

namespace qv::host {

namespace {

class LinuxChildProcess : public ChildProcess {
public:
    explicit LinuxChildProcess(pid_t pid) : m_pid(pid) {}
    ~LinuxChildProcess() override {
        if (Running()) WaitOrEnd(std::chrono::seconds(5));
    }

    int WaitOrEnd(std::chrono::milliseconds grace) override {
        if (!Running()) return m_exitCode;
        const auto deadline = std::chrono::steady_clock::now() + grace;
        while (Running() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (Running()) {
            ::kill(m_pid, SIGKILL);
            int status = 0;
            ::waitpid(m_pid, &status, 0);
            m_reaped = true;
            m_exitCode = -1;
        }
        return m_exitCode;
    }

    bool Running() override {
        if (m_reaped) return false;
        int status = 0;
        pid_t r = ::waitpid(m_pid, &status, WNOHANG);
        if (r == 0) return true;
        m_reaped = true;
        if (r == m_pid && WIFEXITED(status))
            m_exitCode = WEXITSTATUS(status);
        else
            m_exitCode = -1;
        return false;
    }

    unsigned long ProcessId() const override { return static_cast<unsigned long>(m_pid); }

private:
    pid_t m_pid;
    bool m_reaped = false;
    int m_exitCode = -1;
};

}  // namespace

std::unique_ptr<ChildProcess> StartChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                                                std::string& error) {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    // The host holds interrupts back for its own waiter; the child must get
    // them again.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    // A group of its own: a Ctrl-C in the terminal reaches the host, which
    // stops the child through its exit token.
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    pid_t pid = 0;
    int rc = ::posix_spawn(&pid, program.c_str(), nullptr, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (rc != 0) {
        error = "cannot start " + program + ": " + std::strerror(rc);
        return nullptr;
    }
    return std::make_unique<LinuxChildProcess>(pid);
}

}  // namespace qv::host
