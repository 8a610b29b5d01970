// What only the machine's own platform provides, chosen when the program is
// built: the platform object itself, and the wiring of the user's interrupt
// (Ctrl-C, SIGTERM) to the quit message of the main loop.
#pragma once

#include "platform/loop.h"
#include "platform/platform.h"

namespace qv {

CRefPtr<IPlatform> CreateNativePlatform();
// The pipe port alone, for a program that needs nothing else: the whole
// platform brings in every library of every port, and their loading is a
// start-up cost that a short-lived helper pays each time it runs.
CRefPtr<IPipes> CreateNativePipes();

// Holds the user's interrupts back from every thread started later; call it
// first thing in main, before any thread exists.
void HoldInterrupts();
// From now on an interrupt of the user posts the quit message to the loop.
void PostQuitOnInterrupt(const CRefPtr<IMessageLoop>& loop);

}  // namespace qv
