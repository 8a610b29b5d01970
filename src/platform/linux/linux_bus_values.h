// A ValueSet on the bus: a dictionary of strings (a{ss}), in UTF-8.
#pragma once

#include <systemd/sd-bus.h>

#include "platform/app_service.h"

namespace qv {

// sd-bus's result: negative errno on failure.
int AppendValueSet(sd_bus_message* message, const ValueSet& values);
// Reads the next a{ss} of the message. A key that comes twice keeps its
// last value; text that is not valid UTF-8 cannot arrive (the bus refuses
// it).
int ReadValueSet(sd_bus_message* message, ValueSet& values);

}  // namespace qv
