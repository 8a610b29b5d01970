// The trace's debugger output on Windows: OutputDebugStringW, which a
// debugger or a viewer of debug strings shows, and which costs next to
// nothing when nobody listens.
#pragma once

#include "platform/debug_output.h"

namespace qv {

class CWin32DebugOutput : public CAddReleaseRef, public IDebugOutput {
public:
    void OutputDebugString(const std::wstring& line) override;
};

}  // namespace qv
