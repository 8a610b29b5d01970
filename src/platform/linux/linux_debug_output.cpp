#include "platform/linux/linux_debug_output.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "core/text.h"

namespace qv {

CLinuxDebugOutput::CLinuxDebugOutput() {
    const char* value = std::getenv("QUORVANE_DEBUG_OUTPUT");
    m_toStderr = value && std::strcmp(value, "stderr") == 0;
}

void CLinuxDebugOutput::OutputDebugString(const std::wstring& line) {
    if (!m_toStderr) return;
    std::string text = WideToUtf8(line);
    // One write per line, so lines of several threads do not mix.
    ssize_t ignored = ::write(STDERR_FILENO, text.data(), text.size());
    (void)ignored;
}

}  // namespace qv
