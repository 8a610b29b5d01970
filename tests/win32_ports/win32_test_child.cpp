// The child that the Windows port tests start. Its first argument says what
// it does:
//   sleep MS CODE             ends after MS milliseconds with CODE
//   hold-mutex NAME HOW       creates and holds the mutex Global\NAME, then
//                             waits for the event Global\NAME-go that the test
//                             made; HOW is "release" (gives it back first) or
//                             "abandon" (ends holding it)
//   write-file PATH TEXT      opens the existing file, as the helper opens the
//                             interop file, and writes TEXT at its start
// A bad request ends with 100 and up, so that a test never mistakes it for
// the code it asked for.
#include <cstdlib>
#include <cstring>
#include <string>

#include <windows.h>

namespace {

std::wstring Widen(const char* text) { return std::wstring(text, text + std::strlen(text)); }

int HoldMutex(const char* name, const char* how) {
    const std::wstring global = L"Global\\" + Widen(name);
    HANDLE mutex = ::CreateMutexW(nullptr, TRUE, global.c_str());
    if (!mutex || ::GetLastError() == ERROR_ALREADY_EXISTS) return 101;
    HANDLE go = ::OpenEventW(SYNCHRONIZE, FALSE, (global + L"-go").c_str());
    if (!go) return 102;
    // Bounded, so that a test that failed half-way leaves no child behind.
    if (::WaitForSingleObject(go, 60000) != WAIT_OBJECT_0) return 103;
    if (std::strcmp(how, "release") == 0 && !::ReleaseMutex(mutex)) return 104;
    // Ends without closing anything: the system closes the handles, and a
    // mutex still held is abandoned.
    return 0;
}

int WriteIntoFile(const char* path, const char* text) {
    HANDLE file = ::CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return 105;
    DWORD written = 0;
    const DWORD size = static_cast<DWORD>(std::strlen(text));
    const bool ok = ::WriteFile(file, text, size, &written, nullptr) && written == size;
    ::CloseHandle(file);
    return ok ? 0 : 106;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 4 && std::strcmp(argv[1], "sleep") == 0) {
        // The child's own timing: it lives this long, then ends with the code.
        ::Sleep(static_cast<DWORD>(std::atoi(argv[2])));
        return std::atoi(argv[3]);
    }
    if (argc >= 4 && std::strcmp(argv[1], "hold-mutex") == 0) return HoldMutex(argv[2], argv[3]);
    if (argc >= 4 && std::strcmp(argv[1], "write-file") == 0) return WriteIntoFile(argv[2], argv[3]);
    return 100;
}
