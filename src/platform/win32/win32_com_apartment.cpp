#include "platform/win32/win32_com_apartment.h"

#include "platform/win32/windows_api.h"

#include <objbase.h>

namespace qv {

void EnsureComOnThisThread() {
    thread_local bool joined = false;
    if (joined) return;
    // Whatever the result, asking again would not change it.
    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    joined = true;
}

}  // namespace qv
