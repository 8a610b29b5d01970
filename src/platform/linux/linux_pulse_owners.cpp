#include "platform/linux/linux_pulse_owners.h"

#include <pulse/pulseaudio.h>

namespace qv {

void PulseLoopFree::operator()(pa_threaded_mainloop* loop) const {
    // Freeing a loop whose thread still runs is not allowed; stopping one
    // that never started is harmless.
    pa_threaded_mainloop_stop(loop);
    pa_threaded_mainloop_free(loop);
}

void PulseContextFree::operator()(pa_context* context) const {
    // libpulse may still call a context that we let go of (its last events
    // come as it disconnects); nothing of ours may hear them.
    pa_context_set_state_callback(context, nullptr, nullptr);
    pa_context_set_subscribe_callback(context, nullptr, nullptr);
    pa_context_disconnect(context);
    pa_context_unref(context);
}

void PulseOperationFree::operator()(pa_operation* operation) const { pa_operation_unref(operation); }

void PulseTimerFree::operator()(pa_time_event* timer) const { api->time_free(timer); }

void PulseProplistFree::operator()(pa_proplist* properties) const { pa_proplist_free(properties); }

CPulseLoopLock::CPulseLoopLock(pa_threaded_mainloop* loop) : m_loop(loop) { pa_threaded_mainloop_lock(m_loop); }

CPulseLoopLock::~CPulseLoopLock() { pa_threaded_mainloop_unlock(m_loop); }

}  // namespace qv
