#include "platform/linux/linux_system.h"

#include <chrono>
#include <climits>
#include <sys/random.h>
#include <unistd.h>

#include "core/text.h"
#include "platform/codes.h"

namespace qv {

HRESULT CLinuxSystem::CoCreateGuid(GUID& guid) {
    uint8_t bytes[16];
    if (::getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) return E_FAIL;
    bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // variant 1
    guid.Data1 = (uint32_t{bytes[0]} << 24) | (bytes[1] << 16) | (bytes[2] << 8) | bytes[3];
    guid.Data2 = static_cast<uint16_t>((bytes[4] << 8) | bytes[5]);
    guid.Data3 = static_cast<uint16_t>((bytes[6] << 8) | bytes[7]);
    for (int i = 0; i < 8; ++i) guid.Data4[i] = bytes[8 + i];
    return S_OK;
}

FILETIME CLinuxSystem::GetSystemTimeAsFileTime() {
    auto since = std::chrono::system_clock::now().time_since_epoch();
    auto ticks = std::chrono::duration_cast<std::chrono::nanoseconds>(since).count() / 100;
    return FILETIME::FromTicks(kFileTimeUnixEpoch + static_cast<uint64_t>(ticks));
}

uint32_t CLinuxSystem::GetCurrentProcessId() { return static_cast<uint32_t>(::getpid()); }

Win32Error CLinuxSystem::GetModuleFileName(std::wstring& path) {
    char buffer[PATH_MAX];
    ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0) return ERROR_FILE_NOT_FOUND;
    path = Utf8ToWide(std::string_view(buffer, static_cast<std::size_t>(n)));
    return 0;
}

}  // namespace qv
