// quorvane-host.exe, the reference host, run by a test as a second Windows
// process beside the test program: its output captured (for the checks, and
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

class ReferenceHostProcess {
public:
    // The arguments must need no quoting. A start that fails is a test failure.
    explicit ReferenceHostProcess(const std::vector<std::wstring>& arguments);
    ~ReferenceHostProcess();
    ReferenceHostProcess(const ReferenceHostProcess&) = delete;
    ReferenceHostProcess& operator=(const ReferenceHostProcess&) = delete;

    bool Started() const { return static_cast<bool>(m_process); }
    // False when the limit passes, or the host closes its output, first.
    bool WaitForLineWith(const std::string& text, std::chrono::milliseconds limit) const;
    // The exit code of a host that ends by itself within the limit.
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
    // never closes the host's end of the pipe.
    std::shared_ptr<Capture> m_capture;
    std::thread m_reader;
};

}  // namespace qv::test
