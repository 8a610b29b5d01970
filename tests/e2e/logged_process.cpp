#include "logged_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <map>
#include <sstream>

#include "support/wait_until.h"

extern char** environ;

namespace qv::test {

namespace {

std::string ReadWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string LastLines(const std::string& text, std::size_t count) {
    std::vector<std::size_t> starts{0};
    for (std::size_t i = 0; i + 1 < text.size(); ++i)
        if (text[i] == '\n') starts.push_back(i + 1);
    if (starts.size() <= count) return text;
    return "[... " + std::to_string(starts.size() - count) + " lines]\n" + text.substr(starts[starts.size() - count]);
}

}  // namespace

LoggedProcess::LoggedProcess(std::string name, const std::vector<std::string>& argv, const std::string& folder,
                             const std::vector<std::string>& extraEnvironment)
    : m_name(std::move(name)), m_outPath(folder + "/" + m_name + ".out"), m_errPath(folder + "/" + m_name + ".err") {
    if (argv.empty()) return;
    // Everything the child needs is made before the fork: after it, only
    // calls that are safe in a copy of a threaded process are made.
    std::map<std::string, std::string> environment;
    for (char** e = environ; *e; ++e) {
        std::string entry = *e;
        environment[entry.substr(0, entry.find('='))] = entry;
    }
    for (const std::string& entry : extraEnvironment) environment[entry.substr(0, entry.find('='))] = entry;
    std::vector<char*> env;
    for (auto& [key, entry] : environment) env.push_back(entry.data());
    env.push_back(nullptr);
    std::vector<std::string> arguments = argv;
    std::vector<char*> args;
    for (std::string& a : arguments) args.push_back(a.data());
    args.push_back(nullptr);

    int out = ::open(m_outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    int err = ::open(m_errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    int in = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (out < 0 || err < 0 || in < 0) {
        for (int fd : {out, err, in})
            if (fd >= 0) ::close(fd);
        return;
    }
    const pid_t parent = ::getpid();
    pid_t pid = ::fork();
    if (pid == 0) {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) ::_exit(127);
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(err, 2);
        // The test program may hold signals back; the child starts clean.
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::execve(args[0], args.data(), env.data());
        ::_exit(127);
    }
    for (int fd : {out, err, in}) ::close(fd);
    if (pid < 0) return;
    // Also set from this side, so that the group exists before anyone
    // signals it.
    ::setpgid(pid, pid);
    m_pid = pid;
}

LoggedProcess::~LoggedProcess() {
    if (m_pid <= 0) return;
    // The group outlives its leader: a host that died leaves its classifier.
    ::kill(-m_pid, SIGKILL);
    if (!m_exitCode) {
        int status = 0;
        while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
        }
    }
}

void LoggedProcess::Signal(int signal) {
    if (m_pid > 0 && !m_exitCode) ::kill(m_pid, signal);
}

void LoggedProcess::Reap(int status) {
    m_exitSeen = std::chrono::steady_clock::now();
    if (WIFEXITED(status))
        m_exitCode = WEXITSTATUS(status);
    else if (WIFSIGNALED(status))
        m_exitCode = 128 + WTERMSIG(status);
    else
        m_exitCode = -1;
}

bool LoggedProcess::Running() {
    if (m_pid <= 0 || m_exitCode) return false;
    int status = 0;
    pid_t r = ::waitpid(m_pid, &status, WNOHANG);
    if (r == 0) return true;
    if (r == m_pid)
        Reap(status);
    else
        m_exitCode = -1;
    return false;
}

std::optional<int> LoggedProcess::WaitForExit(std::chrono::milliseconds timeout) {
    if (!WaitUntil([&] { return !Running(); }, timeout, std::chrono::milliseconds(10))) return std::nullopt;
    return m_exitCode;
}

std::string LoggedProcess::Output() const { return ReadWhole(m_outPath); }
std::string LoggedProcess::Errors() const { return ReadWhole(m_errPath); }

std::string LoggedProcess::Describe(std::size_t errorLines) const {
    std::ostringstream text;
    text << "---- " << m_name << " (process " << m_pid << "), standard output:\n"
         << Output() << "---- " << m_name << ", standard error:\n"
         << LastLines(Errors(), errorLines) << "---- end of " << m_name << "\n";
    return text.str();
}

}  // namespace qv::test
