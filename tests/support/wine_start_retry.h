// Wine 8 now and then fails a process start with ERROR_INTERNAL_ERROR (1359):
// the new process ended before Wine had set it up. A CI run saw it once, with
// two test programs starting processes at the same time. Windows gives that
// error for none of the starts the tests make, so a start that fails with it
// alone is made again, twice at the most; every other error reaches the test.
#pragma once

#include <cstdint>

namespace qv::test {

inline constexpr uint32_t kWineStartInternalError = 1359;

// start() makes one attempt and gives 0 or its error.
template <class Start>
uint32_t StartRetryingWineInternalError(Start start) {
    uint32_t error = 0;
    for (int attempt = 0; attempt < 3; ++attempt)
        if ((error = start()) != kWineStartInternalError) break;
    return error;
}

}  // namespace qv::test
