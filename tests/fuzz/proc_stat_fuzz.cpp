// /proc/PID/stat as a process may make it look: its command name is its own
// choice. The reader never takes more than the text holds.
#include <string_view>

#include "fuzz_target.h"
#include "platform/linux/linux_proc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qv::ProcStat stat;
    qv::ParseProcStat(std::string_view(reinterpret_cast<const char*>(data), size), stat);
    return 0;
}
