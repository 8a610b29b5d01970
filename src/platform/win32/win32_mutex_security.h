// The security of the named mutexes that this process creates: Everyone and
// the Administrators group are granted 0xF003F. Note that this mask lacks
// SYNCHRONIZE, the right that opening for a wait asks for; the values are
// kept as they are.
#pragma once

#include "platform/win32/windows_api.h"

namespace qv {

// Built once, on first use, and kept until the process ends. Null when any
// step of building it failed: the mutex then gets the default security of
// the creating user, rather than no mutex at all.
SECURITY_ATTRIBUTES* MutexSecurityAttributes();

}  // namespace qv
