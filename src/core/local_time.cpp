#include "core/local_time.h"

namespace qv {

std::tm LocalTime(std::time_t seconds) {
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &seconds);
#else
    localtime_r(&seconds, &local);
#endif
    return local;
}

}  // namespace qv
