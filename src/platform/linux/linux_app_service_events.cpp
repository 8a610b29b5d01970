#include "platform/linux/linux_app_service_events.h"

namespace qv {

void CAppServiceEvents::SetHandlers(std::function<void(const ValueSet&)> requestReceived,
                                    std::function<void()> serviceClosed) {
    {
        std::lock_guard lock(m_mutex);
        m_requestReceived = std::move(requestReceived);
        m_serviceClosed = std::move(serviceClosed);
    }
    m_handlersSet.notify_all();
}

template <class Handler>
Handler CAppServiceEvents::HandlerOnceSet(const Handler& member) {
    std::unique_lock lock(m_mutex);
    m_handlersSet.wait(lock, [&] { return m_closed || m_requestReceived || m_serviceClosed; });
    return m_closed ? Handler() : member;
}

void CAppServiceEvents::PostRequest(ValueSet request) {
    {
        std::lock_guard lock(m_mutex);
        if (m_closed || m_serviceClosedPosted) return;
    }
    m_thread.Post([this, request = std::move(request)] {
        if (auto handler = HandlerOnceSet(m_requestReceived)) handler(request);
    });
}

void CAppServiceEvents::PostServiceClosed() {
    {
        std::lock_guard lock(m_mutex);
        if (m_closed || m_serviceClosedPosted) return;
        m_serviceClosedPosted = true;
    }
    m_thread.Post([this] {
        if (auto handler = HandlerOnceSet(m_serviceClosed)) handler();
    });
}

void CAppServiceEvents::Close() {
    {
        std::lock_guard lock(m_mutex);
        m_closed = true;
    }
    m_handlersSet.notify_all();
    m_thread.Stop();
    // Let go of what the handlers hold (often their owner, which holds this
    // connection). A handler that closes runs on a copy, so this is safe
    // even then; what they held goes after the lock.
    std::function<void(const ValueSet&)> requestReceived;
    std::function<void()> serviceClosed;
    std::lock_guard lock(m_mutex);
    requestReceived.swap(m_requestReceived);
    serviceClosed.swap(m_serviceClosed);
}

}  // namespace qv
