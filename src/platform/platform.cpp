#include "platform/platform.h"

#include <cstdio>
#include <mutex>
#include <set>

#include "core/text.h"

namespace qv {

namespace {
std::mutex& PlatformMutex() {
    static std::mutex m;
    return m;
}
CRefPtr<IPlatform>& PlatformSlot() {
    static CRefPtr<IPlatform> slot;
    return slot;
}
}  // namespace

void SetPlatform(CRefPtr<IPlatform> platform) {
    CRefPtr<IPlatform> old;
    {
        std::lock_guard lock(PlatformMutex());
        old = std::move(PlatformSlot());
        PlatformSlot() = std::move(platform);
    }
    // The old platform goes outside the lock: its destructor may join threads
    // that ask for the platform.
}

CRefPtr<IPlatform> GetPlatform() {
    std::lock_guard lock(PlatformMutex());
    return PlatformSlot();
}

std::nullptr_t ReportPortUnavailable(const std::wstring& platformName, const wchar_t* portName) {
    static std::mutex mutex;
    static std::set<std::wstring> told;
    std::wstring key = platformName + L"/" + portName;
    std::lock_guard lock(mutex);
    if (told.insert(key).second) {
        std::fprintf(stderr, "%s: the %s port is unavailable on this platform\n", WideToUtf8(platformName).c_str(),
                     WideToUtf8(portName).c_str());
    }
    return nullptr;
}

}  // namespace qv
