#include <atomic>
#include <thread>

#include "core/text.h"
#include "host_system.h"
#include "platform/win32/windows_api.h"

namespace qv::host {
namespace {

// Set by the console's own thread, which calls the handler.
std::atomic<bool> g_interrupted{false};

BOOL WINAPI OnConsoleControl(DWORD) {
    g_interrupted.store(true);
    return TRUE;
}

}  // namespace

void CatchInterrupts() { ::SetConsoleCtrlHandler(OnConsoleControl, TRUE); }

// The handler runs on a thread of its own and cannot wake a wait: a short
// look at the flag is as quick as the user needs.
bool WaitForInterrupt(std::chrono::milliseconds wait) {
    if (!g_interrupted.load()) std::this_thread::sleep_for(wait);
    return g_interrupted.load();
}

std::string SelfPath(const char* argv0) {
    wchar_t buffer[MAX_PATH];
    const DWORD n = ::GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    return n > 0 && n < MAX_PATH ? WideToUtf8(std::wstring(buffer, n)) : std::string(argv0);
}

const char* ClassifierFileName() { return "ContentClassifier.exe"; }

std::tm LocalTime(std::time_t time) {
    std::tm local{};
    localtime_s(&local, &time);
    return local;
}

}  // namespace qv::host
