// What every object of one simulated audio system shares: the lock over all
// endpoint and session state, the failure table, the thread that delivers
// the callbacks, and the registered endpoint clients.
#pragma once

#include <mutex>

#include "platform/audio.h"
#include "platform/callback_list.h"
#include "platform/callback_thread.h"
#include "platform/sim/sim_failures.h"

namespace qv {

class CSimAudioContext : public CAddReleaseRef {
public:
    CSimAudioContext();

    // Guards the state of every endpoint and session. Never held while the
    // model is called, so that a callback may call the platform back.
    std::mutex Mutex;
    CSimFailures Failures;
    CCallbackThread Events;
    // No reference: the model deletes its client right after unregistering.
    CCallbackList<IMMNotificationClient, false> EndpointClients;
};

}  // namespace qv
