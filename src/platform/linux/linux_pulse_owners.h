// Owners of libpulse's objects, each released once on every way out. The
// loop must outlive everything made on it, and everything but the loop is
// released with the loop's lock held; the owners do not take that lock, so
// their holders release them inside a CPulseLoopLock.
#pragma once

#include <memory>

struct pa_threaded_mainloop;
struct pa_mainloop_api;
struct pa_context;
struct pa_operation;
struct pa_time_event;
struct pa_proplist;

namespace qv {

// Stops the loop's thread, then frees the loop.
struct PulseLoopFree {
    void operator()(pa_threaded_mainloop* loop) const;
};
// Silences the context's callbacks, disconnects it and drops our reference.
struct PulseContextFree {
    void operator()(pa_context* context) const;
};
// Drops our reference to a request: its answer still comes to its callback
// unless it was cancelled first.
struct PulseOperationFree {
    void operator()(pa_operation* operation) const;
};
// A timer is freed through the loop's api that made it.
struct PulseTimerFree {
    pa_mainloop_api* api = nullptr;
    void operator()(pa_time_event* timer) const;
};
struct PulseProplistFree {
    void operator()(pa_proplist* properties) const;
};

using PulseLoop = std::unique_ptr<pa_threaded_mainloop, PulseLoopFree>;
using PulseContext = std::unique_ptr<pa_context, PulseContextFree>;
using PulseOperation = std::unique_ptr<pa_operation, PulseOperationFree>;
using PulseTimer = std::unique_ptr<pa_time_event, PulseTimerFree>;
using PulseProplist = std::unique_ptr<pa_proplist, PulseProplistFree>;

// The loop's lock for a scope.
class CPulseLoopLock {
public:
    explicit CPulseLoopLock(pa_threaded_mainloop* loop);
    ~CPulseLoopLock();
    CPulseLoopLock(const CPulseLoopLock&) = delete;
    CPulseLoopLock& operator=(const CPulseLoopLock&) = delete;

private:
    pa_threaded_mainloop* m_loop;
};

}  // namespace qv
