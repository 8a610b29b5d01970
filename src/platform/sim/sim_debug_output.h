// Debugger output that a test can read back: every line, in order.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/debug_output.h"

namespace qv {

class CSimDebugOutput : public CAddReleaseRef, public IDebugOutput {
public:
    void OutputDebugString(const std::wstring& line) override {
        std::lock_guard lock(m_mutex);
        m_lines.push_back(line);
    }
    std::vector<std::wstring> Lines() const {
        std::lock_guard lock(m_mutex);
        return m_lines;
    }
    void Clear() {
        std::lock_guard lock(m_mutex);
        m_lines.clear();
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::wstring> m_lines;
};

}  // namespace qv
