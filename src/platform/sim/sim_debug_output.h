// Debugger output that a test can read back: every line, in order.
#pragma once

#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "core/text.h"

#include "platform/debug_output.h"

namespace qv {

class CSimDebugOutput : public CAddReleaseRef, public IDebugOutput {
public:
    void OutputDebugString(const std::wstring& line) override {
        std::lock_guard lock(m_mutex);
        m_lines.push_back(line);
        if (EchoToStderr.load()) std::fputs(WideToUtf8(line).c_str(), stderr);
    }
    std::vector<std::wstring> Lines() const {
        std::lock_guard lock(m_mutex);
        return m_lines;
    }
    void Clear() {
        std::lock_guard lock(m_mutex);
        m_lines.clear();
    }

    // Also writes each line to standard error, for a person watching a replay.
    std::atomic<bool> EchoToStderr{false};

private:
    mutable std::mutex m_mutex;
    std::vector<std::wstring> m_lines;
};

}  // namespace qv
