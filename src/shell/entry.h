// The whole life of the process, on whatever platform has been set: read the
// arguments, bring up the object graph, turn the loop until the quit message,
// tear down in order.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "platform/loop.h"

namespace qv {

class CAudioDeviceManager;

// The id of the main thread, set first thing.
uint32_t MainThreadId();
// The ids of the browser add-ons that the manifest template allows, read at
// the start; empty before that, or when the template is missing.
const std::set<std::string>& AllowedExtensionIds();

struct EntryHooks {
    // Called once the loop exists and before it turns: main wires the user's
    // interrupt to it; tests post into it.
    std::function<void(const CRefPtr<IMessageLoop>&)> loopReady;
    // Called on the main thread once the object graph is up, and with null
    // before it is torn down: the replay tool reaches the model through it.
    std::function<void(CAudioDeviceManager*)> graphReady;
};

// The elements of the command line, UTF-8, the program path first. Returns
// the exit code.
int RunContentClassifier(const std::vector<std::string>& arguments, const EntryHooks& hooks = {});

}  // namespace qv
