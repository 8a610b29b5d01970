// A child process of a test, with its standard input and output at hand.
// It is killed and reaped when the object goes, so that a failing test
// leaves no player behind.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace qv::test {

class TestChild {
public:
    // Starts the program (looked up in PATH) with the arguments, argv[0]
    // included; the extra environment entries ("NAME=value") come on top of
    // the program's own.
    explicit TestChild(const std::vector<std::string>& argv, const std::vector<std::string>& extraEnvironment = {});
    ~TestChild();
    TestChild(const TestChild&) = delete;
    TestChild& operator=(const TestChild&) = delete;

    bool Started() const { return m_pid > 0; }
    pid_t Pid() const { return m_pid; }

    bool WriteLine(const std::string& line);
    // The next line of its output, or nothing at the end or after the time.
    std::optional<std::string> ReadLine(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Closes its standard input.
    void CloseInput();
    void Kill(int signal);
    // Reaps it; the status of waitpid.
    int Wait();

private:
    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    std::string m_buffered;
    bool m_reaped = false;
};

}  // namespace qv::test
