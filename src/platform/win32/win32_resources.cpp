#include "platform/win32/win32_resources.h"

#include "platform/win32/windows_api.h"

namespace qv {

Win32Error CWin32Resources::LoadResource(uint32_t id, uint32_t type, std::vector<uint8_t>& bytes) {
    bytes.clear();
    HRSRC found = ::FindResourceW(nullptr, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(type));
    if (!found) return ::GetLastError();
    HGLOBAL loaded = ::LoadResource(nullptr, found);
    if (!loaded) return ::GetLastError();
    const void* data = ::LockResource(loaded);
    if (!data) return ::GetLastError();
    const DWORD size = ::SizeofResource(nullptr, found);
    const auto* begin = static_cast<const uint8_t*>(data);
    bytes.assign(begin, begin + size);
    return ERROR_SUCCESS;
}

}  // namespace qv
