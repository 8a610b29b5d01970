#include "support/wine_detect.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace qv::test {

bool RunningUnderWine() {
#ifdef _WIN32
    // Wine's ntdll exports its version; Windows' does not.
    HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    return ntdll && ::GetProcAddress(ntdll, "wine_get_version") != nullptr;
#else
    return false;
#endif
}

}  // namespace qv::test
