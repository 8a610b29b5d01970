// A manual-reset event as an eventfd: SetEvent makes it readable for good,
// and nothing ever reads it, so every waiter, present and future, sees it
// signalled. The port offers no ResetEvent, so none is needed.
#pragma once

#include <atomic>

#include "platform/linux/linux_unique_fd.h"
#include "platform/linux/linux_waitable.h"

namespace qv {

class CLinuxEvent : public CAddReleaseRef, public IEvent, public ILinuxPollable {
public:
    // Null when no descriptor is left (errno tells why).
    static CRefPtr<CLinuxEvent> Create();

    explicit CLinuxEvent(CUniqueFd fd) : m_fd(std::move(fd)) {}

    void SetEvent() override;
    int PollFd() const override { return m_fd.get(); }
    bool IsSignalled() const override { return m_set.load(std::memory_order_acquire); }

private:
    const CUniqueFd m_fd;
    std::atomic<bool> m_set{false};
};

}  // namespace qv
