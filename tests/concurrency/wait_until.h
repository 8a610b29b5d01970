// Waiting on a condition that another thread makes true, without guessing
// how long it takes: poll with short naps up to a generous limit.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace qv::test {

inline bool WaitUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace qv::test
