// What other processes write with OutputDebugString, read as a debug-output
// viewer reads it: through the shared "DBWIN_BUFFER" section and its two
// events, which the system's OutputDebugString fills when a viewer is there.
// There is one viewer per session: a second monitor fails to start.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "platform/win32/win32_unique_handle.h"

namespace qv::test {

class DebugOutputMonitor {
public:
    DebugOutputMonitor();
    ~DebugOutputMonitor();
    DebugOutputMonitor(const DebugOutputMonitor&) = delete;
    DebugOutputMonitor& operator=(const DebugOutputMonitor&) = delete;

    // Empty when the monitor listens; otherwise why it does not.
    const std::string& Failure() const { return m_failure; }
    // False when the limit passes first.
    bool WaitForLineWith(uint32_t processId, const std::string& text, std::chrono::milliseconds limit) const;
    // Everything the process wrote so far, one line per call.
    std::string Output(uint32_t processId) const;

private:
    struct Shared;

    std::string m_failure;
    CUniqueHandle m_section;
    CUniqueHandle m_bufferReady;
    CUniqueHandle m_dataReady;
    CUniqueHandle m_stop;
    std::shared_ptr<Shared> m_shared;
    std::thread m_reader;
};

}  // namespace qv::test
