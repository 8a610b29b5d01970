// A process that an end-to-end test starts: its standard output and error go
// to files in the test's folder, so that they can be searched while it runs
// and shown when the test fails. It runs in a process group of its own, so
// that ending it also ends what it started (the host's classifier), and it
// gets SIGTERM if the test program dies without a word.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace qv::test {

class LoggedProcess {
public:
    // argv[0] is the program's path. The extra environment entries
    // ("NAME=value") replace or add to the test program's own.
    LoggedProcess(std::string name, const std::vector<std::string>& argv, const std::string& folder,
                  const std::vector<std::string>& extraEnvironment = {});
    // Ends the whole process group by force if it still runs.
    ~LoggedProcess();
    LoggedProcess(const LoggedProcess&) = delete;
    LoggedProcess& operator=(const LoggedProcess&) = delete;

    bool Started() const { return m_pid > 0; }
    pid_t Pid() const { return m_pid; }
    const std::string& Name() const { return m_name; }

    // To the process alone, not to its group: it passes the request on
    // itself, as it would when a user asks.
    void Signal(int signal);
    bool Running();
    // The exit code, or nothing if it is still running after the time. A
    // death by a signal reads as 128 + the signal.
    std::optional<int> WaitForExit(std::chrono::milliseconds timeout);
    // When the exit was first seen.
    std::chrono::steady_clock::time_point ExitSeenAt() const { return m_exitSeen; }

    std::string Output() const;
    std::string Errors() const;
    // Both, under headings, for a failure message; the error output's last
    // lines only, as a trace can be long.
    std::string Describe(std::size_t errorLines = 120) const;

private:
    void Reap(int status);

    std::string m_name;
    std::string m_outPath;
    std::string m_errPath;
    pid_t m_pid = -1;
    std::optional<int> m_exitCode;
    std::chrono::steady_clock::time_point m_exitSeen{};
};

}  // namespace qv::test
