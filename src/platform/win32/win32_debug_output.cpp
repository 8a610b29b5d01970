#include "platform/win32/win32_debug_output.h"

#include "platform/win32/windows_api.h"

namespace qv {

void CWin32DebugOutput::OutputDebugString(const std::wstring& line) { ::OutputDebugStringW(line.c_str()); }

}  // namespace qv
