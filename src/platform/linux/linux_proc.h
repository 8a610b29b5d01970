// Reading processes from /proc. All of it is outside data: a process may
// name itself anything (its comm may hold spaces and parentheses), and may
// be gone between two reads, so every reader bounds its input and fails
// cleanly.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/types.h"

namespace qv {

// The fields of /proc/PID/stat that the process port uses.
struct ProcStat {
    std::string comm;          // field 2, without its parentheses
    uint32_t parentPid = 0;    // field 4
    uint64_t userTicks = 0;    // field 14
    uint64_t kernelTicks = 0;  // field 15
    uint64_t startTicks = 0;   // field 22: clock ticks after boot
};

// Parses the text of /proc/PID/stat. The command name ends at the last ")",
// since it may contain ")" itself.
bool ParseProcStat(std::string_view text, ProcStat& stat);
// 0 or errno (ENOENT for a process that is not there).
int ReadProcStat(pid_t pid, ProcStat& stat);

// The target of /proc/PID/exe, without the " (deleted)" that the kernel adds
// once the file has been removed or replaced (a package update does that to
// a running program). 0 or errno: EACCES for another user's process when we
// are not root, ENOENT for a kernel thread or a process that has gone.
int ReadExecutablePath(pid_t pid, std::string& path);
std::string WithoutDeletedSuffix(std::string path);

// The file name after the last "/".
std::string FileNameOf(const std::string& path);

// "btime" of /proc/stat: the boot time in whole seconds since 1970, read
// once. It is fixed for the run of the machine, so start times made from
// it compare exactly.
std::optional<uint64_t> BootTimeSeconds();
// Clock ticks (the unit of /proc/PID/stat) as 100-ns ticks.
uint64_t ClockTicksToFileTimeTicks(uint64_t clockTicks);
// The start time of a process as FILETIME: boot time plus its start ticks.
FILETIME StartTimeAsFileTime(uint64_t bootSeconds, uint64_t startTicks);

}  // namespace qv
