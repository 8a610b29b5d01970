// The one way a test waits for something that another thread or process
// makes true: poll the condition with short naps until it holds or the bound
// passes. The bound turns a missing event into a failure instead of a hang;
// the naps are the only sleeps a test needs. Where an object can say when it
// changed (CallLog, the harness's loop), wait on that instead.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace qv::test {

// Generous: real daemons and Wine answer in their own time on a loaded
// machine, and a passing test never waits for the bound.
inline constexpr std::chrono::milliseconds kWaitBound = std::chrono::seconds(30);

// Whether the condition came to hold within the bound. It is checked first,
// so a condition that already holds costs no nap.
inline bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds bound = kWaitBound,
                      std::chrono::milliseconds nap = std::chrono::milliseconds(2)) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(nap);
    }
    return true;
}

// The first result of `produce` that tests true within the bound, or the
// last one tried (empty, null or false) when none did.
template <class Produce>
auto WaitForResult(Produce produce, std::chrono::milliseconds bound = kWaitBound) -> decltype(produce()) {
    decltype(produce()) result{};
    WaitUntil([&] { return static_cast<bool>(result = produce()); }, bound, std::chrono::milliseconds(10));
    return result;
}

}  // namespace qv::test
