// The process whose open files PELTAK64 lists under Windows:
//   qv_peltak_test_child READY DONE FILE...
// opens every FILE (a file named twice is opened twice), sets the event
// READY and holds the files until the event DONE is set. Ends with 100 and
// up when something fails.
#include <vector>

#include <windows.h>

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) return 100;
    std::vector<HANDLE> files;
    for (int i = 3; i < argc; ++i) {
        const HANDLE file = ::CreateFileW(argv[i], GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                          nullptr, OPEN_EXISTING, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE) return 101;
        files.push_back(file);
    }
    const HANDLE ready = ::OpenEventW(EVENT_MODIFY_STATE, FALSE, argv[1]);
    const HANDLE done = ::OpenEventW(SYNCHRONIZE, FALSE, argv[2]);
    if (!ready || !done || !::SetEvent(ready)) return 102;
    // Bounded, so that a test that failed half-way leaves no child behind.
    // The system closes the handles at the end.
    return ::WaitForSingleObject(done, 60000) == WAIT_OBJECT_0 ? 0 : 103;
}
