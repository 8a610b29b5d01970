// What the host tool needs of its operating system, one file per platform:
// how it is interrupted, where it lies, and the local time.
#pragma once

#include <chrono>
#include <ctime>
#include <string>

namespace qv::host {

// Takes over Ctrl-C (and, on Linux, SIGTERM) before any thread starts, so
// that an interrupt is seen by WaitForInterrupt alone.
void CatchInterrupts();
// Whether an interrupt came, waiting for one at most this long.
bool WaitForInterrupt(std::chrono::milliseconds wait);

// The path of the running program (argv0 where the system cannot tell).
std::string SelfPath(const char* argv0);
// The classifier's file name on this platform.
const char* ClassifierFileName();
std::tm LocalTime(std::time_t time);

}  // namespace qv::host
