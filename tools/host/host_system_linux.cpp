#include <climits>
#include <csignal>
#include <unistd.h>

#include "host_system.h"
#include "platform/native.h"

namespace qv::host {

// The native platform's own: SIGINT and SIGTERM blocked in every thread, so
// that they wait in the queue for sigtimedwait.
void CatchInterrupts() { HoldInterrupts(); }

bool WaitForInterrupt(std::chrono::milliseconds wait) {
    sigset_t held;
    sigemptyset(&held);
    for (int signal : {SIGINT, SIGTERM}) sigaddset(&held, signal);
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(wait).count();
    const timespec time{static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
    return sigtimedwait(&held, nullptr, &time) > 0;
}

std::string SelfPath(const char* argv0) {
    char buffer[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    return n > 0 ? std::string(buffer, static_cast<std::size_t>(n)) : std::string(argv0);
}

const char* ClassifierFileName() { return "ContentClassifier"; }

std::tm LocalTime(std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    return local;
}

}  // namespace qv::host
