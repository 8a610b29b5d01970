// quorvane-host.exe, the reference host, run by a test as a second Windows
// process: started beside the test program with arguments of the test's
// choosing, its standard output and error captured (for the checks, and to
// show in full when a check fails), and ended for sure when the test is done
// with it, however the test ends.
#pragma once

#ifdef _WIN32

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/win32/win32_unique_handle.h"

namespace qv::test {

class ReferenceHostProcess {
public:
    // Starts quorvane-host.exe from the folder of the running test program.
    // Arguments are passed as they are: they must need no quoting.
    explicit ReferenceHostProcess(const std::vector<std::wstring>& arguments);
    // Kills the host if it still runs and collects the rest of its output.
    ~ReferenceHostProcess();
    ReferenceHostProcess(const ReferenceHostProcess&) = delete;
    ReferenceHostProcess& operator=(const ReferenceHostProcess&) = delete;

    bool Started() const { return static_cast<bool>(m_process); }
    // Why it did not start.
    const std::string& StartError() const { return m_startError; }

    // Waits until the host has printed a line that holds the text. False
    // when the limit passes or the host has closed its output first.
    bool WaitForLineWith(const std::string& text, std::chrono::milliseconds limit) const;
    // Waits for the host to end by itself: its exit code, or none when the
    // limit passes (the host then still runs).
    std::optional<uint32_t> WaitForExit(std::chrono::milliseconds limit);
    // Ends it now if it still runs (exit code 255) and waits, boundedly,
    // until it has gone and all it printed has been read.
    void Kill();

    // Everything it printed so far, line feeds only.
    std::string Output() const;
    // The complete lines among it.
    std::vector<std::string> Lines() const;

private:
    struct Capture;

    CUniqueHandle m_process;
    std::string m_startError;
    // Shared with the reading thread, which may outlive this object if Wine
    // never closes the host's end (it is then left to run out on its own).
    std::shared_ptr<Capture> m_capture;
    std::thread m_reader;
};

// The path of quorvane-host.exe beside the running test program.
std::wstring ReferenceHostPath();

}  // namespace qv::test

#endif  // _WIN32
