#include <climits>
#include <csignal>
#include <unistd.h>

#include "host_system.h"

namespace qv::host {
namespace {

sigset_t Interrupts() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

}  // namespace

// Blocked in every thread, so they wait in the queue for sigtimedwait.
void CatchInterrupts() {
    const sigset_t set = Interrupts();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool WaitForInterrupt(std::chrono::milliseconds wait) {
    const sigset_t set = Interrupts();
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(wait).count();
    timespec time{static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
    return sigtimedwait(&set, nullptr, &time) > 0;
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
