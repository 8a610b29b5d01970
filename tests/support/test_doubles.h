// What tests add to the shared callback recorders: a strong count read, and
// a gate that holds a callback (or a platform thread) until the test lets it
// go.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "core/ref.h"
#include "support/callback_recorders.h"

namespace qv::test {

// The strong count of an object, read without changing it.
inline uint32_t RefCount(IAddReleaseRef* object) {
    object->AddRef();
    return object->Release();
}

// A door that a callback or a platform thread waits at: the test learns that the callback has
// arrived, and opens the door when it wants the callback to return.
class Gate {
public:
    void Arrive() {
        std::unique_lock lock(m_mutex);
        m_arrived = true;
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return m_open; });
    }
    bool WaitForArrival(std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_arrived; });
    }
    void Open() {
        std::lock_guard lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_arrived = false;
    bool m_open = false;
};

}  // namespace qv::test
