// Where the trace's debugger output goes: OutputDebugStringW on Windows;
// on Linux, standard error when the user asks for it, otherwise nowhere.
#pragma once

#include <string>

#include "core/ref.h"

namespace qv {

struct IDebugOutput : virtual IAddReleaseRef {
    virtual void OutputDebugString(const std::wstring& line) = 0;
};

}  // namespace qv
