#include "platform/sim/sim_kernel.h"

#include <chrono>

namespace qv {

uint32_t CSimKernel::Wait(const std::vector<CSimKernelObject*>& objects, uint32_t timeoutMs, const SimOwner& owner) {
    using Clock = std::chrono::steady_clock;
    const bool forever = timeoutMs == kWaitInfinite;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(forever ? 0 : timeoutMs);

    std::unique_lock lock(Mutex);
    bool timedOut = false;
    for (;;) {
        if (m_shutDown) return kWaitFailed;
        // Looked at once more after the time-out: a change and the time-out
        // may come together, and the change wins.
        for (std::size_t i = 0; i < objects.size(); ++i) {
            switch (objects[i]->TryTake(owner)) {
                case SimTake::Signalled: return kWaitObject0 + static_cast<uint32_t>(i);
                case SimTake::Abandoned: return kWaitAbandoned0 + static_cast<uint32_t>(i);
                case SimTake::NotSignalled: break;
            }
        }
        if (timedOut) return kWaitTimeout;
        if (forever)
            m_changed.wait(lock);
        else
            timedOut = m_changed.wait_until(lock, deadline) == std::cv_status::timeout;
    }
}

void CSimKernel::Shutdown() {
    {
        std::lock_guard lock(Mutex);
        m_shutDown = true;
    }
    Changed();
}

bool CSimKernel::IsShutDown() {
    std::lock_guard lock(Mutex);
    return m_shutDown;
}

}  // namespace qv
