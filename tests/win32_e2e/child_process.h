// A program of the project (the reference host, the classifier) run by a
// test as a second Windows process: its output captured (for the checks, and
// to show in full when a check fails), and ended for sure however the test
// ends.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/win32/win32_unique_handle.h"

namespace qv::test {

// The full path of a program copied beside the test program.
std::wstring BesideTestProgram(const std::wstring& fileName);

class ChildProcess {
public:
    // The arguments must need no quoting. A start that fails is a test failure.
    ChildProcess(const std::wstring& program, const std::vector<std::wstring>& arguments);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool Started() const { return static_cast<bool>(m_process); }
    uint32_t Id() const;
    // False when the limit passes, or the program closes its output, first.
    bool WaitForLineWith(const std::string& text, std::chrono::milliseconds limit) const;
    // The exit code of a program that ends by itself within the limit.
    std::optional<uint32_t> WaitForExit(std::chrono::milliseconds limit);
    // Ends it if it still runs, and waits (boundedly) for the rest of its output.
    void Kill();

    // Everything it printed so far, with line feeds only, and its complete lines.
    std::string Output() const;
    std::vector<std::string> Lines() const;

private:
    struct Capture;

    CUniqueHandle m_process;
    // Shared with the reading thread, which may outlive this object if Wine
    // never closes the program's end of the pipe.
    std::shared_ptr<Capture> m_capture;
    std::thread m_reader;
};

}  // namespace qv::test
