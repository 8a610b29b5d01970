// The handlers of one app-service connection and the thread of the port
// that calls them. The bus thread only queues here, so a handler may call
// the connection again (send a message, close it) without waiting for
// itself.
//
// The contract, as the model relies on it: each request is handed to
// RequestReceived in the order it came; ServiceClosed comes at most once,
// and no request after it; once Close has returned no handler runs and none
// will start. Close waits for a handler in progress, except when called from
// that very handler, which then is the last. An event that comes before
// SetHandlers waits for them: the app may answer the toast before its reply
// to the message that showed it has reached the caller, who sets the
// handlers only then.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>

#include "platform/app_service.h"
#include "platform/callback_thread.h"

namespace qv {

class CAppServiceEvents {
public:
    void SetHandlers(std::function<void(const ValueSet&)> requestReceived, std::function<void()> serviceClosed);
    void PostRequest(ValueSet request);
    void PostServiceClosed();
    void Close();

private:
    // Handlers for the event that is delivered now, once they are set or the
    // connection closed.
    template <class Handler>
    Handler HandlerOnceSet(const Handler& member);

    std::mutex m_mutex;
    std::condition_variable m_handlersSet;
    std::function<void(const ValueSet&)> m_requestReceived;
    std::function<void()> m_serviceClosed;
    bool m_closed = false;
    bool m_serviceClosedPosted = false;
    CCallbackThread m_thread;  // last: it goes first, while the handlers still exist
};

}  // namespace qv
