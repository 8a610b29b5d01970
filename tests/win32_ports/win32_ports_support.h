// What the Windows port tests share: the platform under test, the child
// program beside the test program, an event of no platform, names no other
// run uses, and whether the runner promised audio endpoints.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/ref.h"
#include "platform/native.h"
#include "platform/platform.h"
#include "platform/win32/windows_api.h"
#include "support/wine_start_retry.h"

namespace qv::test {

inline CRefPtr<IPlatform> Win32Platform() {
    static CRefPtr<IPlatform> platform = CreateNativePlatform();
    return platform;
}

// qv_win32_test_child.exe, in the folder of the running test program.
inline std::wstring ChildProgramPath() {
    std::vector<wchar_t> self(32768);
    self.resize(::GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size())));
    const std::wstring path(self.begin(), self.end());
    return path.substr(0, path.find_last_of(L"\\/") + 1) + L"qv_win32_test_child.exe";
}

// Starts the child through the process port; null, and a test failure, when
// it does not start.
inline CRefPtr<IProcessHandle> StartChild(const std::wstring& arguments, uint32_t creationFlags = 0) {
    const std::wstring program = ChildProgramPath();
    CRefPtr<IProcessHandle> child;
    EXPECT_EQ(StartRetryingWineInternalError([&] {
                  return Win32Platform()->Processes()->CreateProcess(program, L"\"" + program + L"\" " + arguments,
                                                                     creationFlags, child);
              }),
              0u)
        << "the child did not start";
    return child;
}

// Through the synchronisation port; false on time-out.
inline bool WaitForExit(IProcessHandle* process, uint32_t timeoutMs = 30000) {
    return Win32Platform()->Sync()->WaitForMultipleObjects({process}, timeoutMs) == kWaitObject0;
}

// The prefix, the process id, a count.
inline std::wstring UniqueName(const std::wstring& prefix) {
    static std::atomic<int> count{0};
    return prefix + L"-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++count);
}

// cmake/wine-run --with-pulseaudio says so: a test that finds no endpoint
// then fails, where it would otherwise skip.
inline bool AudioServerPromised() {
    const char* server = std::getenv("QUORVANE_AUDIO_SERVER");
    return server && *server;
}

// An event of no platform: a wait must refuse it rather than wait on junk.
class ForeignEvent : public CAddReleaseRef, public IEvent {
public:
    void SetEvent() override {}
};

}  // namespace qv::test
