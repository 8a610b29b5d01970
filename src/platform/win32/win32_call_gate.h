// The guarantee that an unregistration gives to an object that the platform
// holds no reference to: once Close has returned, no call through the gate
// runs on another thread and none will start. A call that runs on the
// closing thread itself (an unregistration from inside a callback) cannot be
// waited for, and is not.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace qv {

class CCallGate {
public:
    // One call: it passes if the gate was still open when it came.
    class Call {
    public:
        explicit Call(CCallGate& gate) : m_gate(gate), m_entered(gate.Enter()) {}
        ~Call() {
            if (m_entered) m_gate.Leave();
        }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        explicit operator bool() const { return m_entered; }

    private:
        CCallGate& m_gate;
        const bool m_entered;
    };

    void Close() {
        const auto self = std::this_thread::get_id();
        std::unique_lock lock(m_mutex);
        m_closed = true;
        m_left.wait(lock, [&] {
            return std::all_of(m_running.begin(), m_running.end(), [&](std::thread::id t) { return t == self; });
        });
    }

private:
    bool Enter() {
        std::lock_guard lock(m_mutex);
        if (m_closed) return false;
        m_running.push_back(std::this_thread::get_id());
        return true;
    }
    void Leave() {
        {
            std::lock_guard lock(m_mutex);
            m_running.erase(std::find(m_running.begin(), m_running.end(), std::this_thread::get_id()));
        }
        m_left.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_left;
    std::vector<std::thread::id> m_running;
    bool m_closed = false;
};

}  // namespace qv
