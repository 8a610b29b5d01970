// The id of the calling thread as the operating system numbers it
// (GetCurrentThreadId on Windows, gettid on Linux). It is a link-time choice,
// not a port object, because it never differs between real and simulated runs.
#pragma once

#include <cstdint>

namespace qv {

uint32_t CurrentThreadId();

}  // namespace qv
