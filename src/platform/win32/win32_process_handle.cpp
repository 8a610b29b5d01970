#include "platform/win32/win32_process_handle.h"

#include <vector>

#include "platform/win32/win32_guid.h"

#include <psapi.h>
#undef GetModuleFileNameEx

namespace qv {

namespace {

// The longest path the system knows, in characters.
constexpr DWORD kLongestPath = 32768;

// K32GetModuleFileNameExW cuts a long path to the buffer and says so only by
// filling it: the buffer grows until the path leaves room to spare.
Win32Error ModuleFileName(HANDLE process, std::wstring& path) {
    std::vector<wchar_t> buffer(MAX_PATH);
    for (;;) {
        DWORD length = ::K32GetModuleFileNameExW(process, nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0) return ::GetLastError();
        if (length < buffer.size() - 1) {
            path.assign(buffer.data(), length);
            return ERROR_SUCCESS;
        }
        if (buffer.size() >= kLongestPath) return ERROR_INSUFFICIENT_BUFFER;
        buffer.resize(buffer.size() * 2);
    }
}

// QueryFullProcessImageNameW says ERROR_INSUFFICIENT_BUFFER when it does not fit.
Win32Error FullImageName(HANDLE process, std::wstring& path) {
    std::vector<wchar_t> buffer(MAX_PATH);
    for (;;) {
        DWORD length = static_cast<DWORD>(buffer.size());
        if (::QueryFullProcessImageNameW(process, 0, buffer.data(), &length)) {
            path.assign(buffer.data(), length);
            return ERROR_SUCCESS;
        }
        Win32Error error = ::GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || buffer.size() >= kLongestPath) return error;
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace

Win32Error CWin32ProcessHandle::GetProcessTimes(FILETIME& creation, FILETIME& exit, FILETIME& kernel, FILETIME& user) {
    ::FILETIME times[4]{};
    if (!::GetProcessTimes(m_handle.get(), &times[0], &times[1], &times[2], &times[3])) return ::GetLastError();
    creation = FromWindowsFileTime(times[0]);
    exit = FromWindowsFileTime(times[1]);
    kernel = FromWindowsFileTime(times[2]);
    user = FromWindowsFileTime(times[3]);
    return ERROR_SUCCESS;
}

Win32Error CWin32ProcessHandle::GetModuleFileNameEx(std::wstring& path) {
    path.clear();
    Win32Error error = ModuleFileName(m_handle.get(), path);
    if (error == ERROR_SUCCESS) return error;
    if (FullImageName(m_handle.get(), path) == ERROR_SUCCESS) return ERROR_SUCCESS;
    path.clear();
    return error;
}

Win32Error CWin32ProcessHandle::GetExitCodeProcess(uint32_t& exitCode) {
    DWORD code = 0;
    if (!::GetExitCodeProcess(m_handle.get(), &code)) return ::GetLastError();
    exitCode = code;
    return ERROR_SUCCESS;
}

}  // namespace qv
