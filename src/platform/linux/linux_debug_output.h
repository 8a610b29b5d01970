// The trace's debugger output on Linux: standard error, but only when the user
// asks for it with QUORVANE_DEBUG_OUTPUT=stderr, since a background process
// has no debugger attached and nobody reads its standard error by default.
#pragma once

#include "platform/debug_output.h"

namespace qv {

class CLinuxDebugOutput : public CAddReleaseRef, public IDebugOutput {
public:
    CLinuxDebugOutput();
    void OutputDebugString(const std::wstring& line) override;

private:
    bool m_toStderr;
};

}  // namespace qv
