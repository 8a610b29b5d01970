// COM on the calling thread, for the ports that create COM objects.
#pragma once

namespace qv {

// Joins the calling thread to the multithreaded apartment once. main
// initialises COM as well: a second CoInitializeEx on the same thread only
// counts up (S_FALSE), and a thread that is already in a single-threaded
// apartment (RPC_E_CHANGED_MODE) can still create the audio objects, which
// live in either kind. The initialisation is never undone: the threads that
// ask are main's and the test's, and COM goes with the process.
void EnsureComOnThisThread();

}  // namespace qv
