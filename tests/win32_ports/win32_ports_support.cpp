#include "win32_ports_support.h"

#ifdef _WIN32

#include <atomic>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "platform/native.h"
#include "platform/win32/windows_api.h"

namespace qv::test {

CRefPtr<IPlatform> Win32Platform() {
    static CRefPtr<IPlatform> platform = CreateNativePlatform();
    return platform;
}

std::wstring ChildProgramPath() {
    std::vector<wchar_t> buffer(32768);
    DWORD length = ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    std::wstring self(buffer.data(), length);
    return self.substr(0, self.find_last_of(L"\\/") + 1) + L"qv_win32_test_child.exe";
}

CRefPtr<IProcessHandle> StartChild(const std::wstring& arguments, uint32_t creationFlags) {
    const std::wstring program = ChildProgramPath();
    CRefPtr<IProcessHandle> child;
    Win32Error error = Win32Platform()->Processes()->CreateProcess(program, L"\"" + program + L"\" " + arguments,
                                                                   creationFlags, child);
    EXPECT_EQ(error, 0u) << "the child did not start";
    return child;
}

bool WaitForExit(IProcessHandle* process, uint32_t timeoutMs) {
    return Win32Platform()->Sync()->WaitForMultipleObjects({process}, timeoutMs) == kWaitObject0;
}

std::wstring UniqueName(const std::wstring& prefix) {
    static std::atomic<int> count{0};
    return prefix + L"-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++count);
}

bool AudioServerPromised() {
    const char* server = std::getenv("QUORVANE_AUDIO_SERVER");
    return server && *server;
}

}  // namespace qv::test

#endif  // _WIN32
