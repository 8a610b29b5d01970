// Processes: opening one by id for its times and image path, the snapshot of
// all processes for parent ids, waiting for a process to end, and starting a
// child. Windows: OpenProcess, GetProcessTimes, K32GetModuleFileNameExW,
// Toolhelp, CreateProcessW. Linux: /proc, pidfd, posix_spawn.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/ref.h"
#include "platform/sync.h"
#include "platform/types.h"

namespace qv {

// An open process; waitable, it is signalled when the process has ended.
// Releasing the last reference closes it.
struct IProcessHandle : virtual IWaitable {
    // GetProcessTimes: creation, exit, kernel and user time.
    virtual Win32Error GetProcessTimes(FILETIME& creation, FILETIME& exit, FILETIME& kernel, FILETIME& user) = 0;
    // K32GetModuleFileNameExW of the main module: the full image path.
    virtual Win32Error GetModuleFileNameEx(std::wstring& path) = 0;
    // GetExitCodeProcess; 259 (STILL_ACTIVE) while it runs.
    virtual Win32Error GetExitCodeProcess(uint32_t& exitCode) = 0;
    virtual uint32_t ProcessId() const = 0;
};

// One row of a process snapshot (PROCESSENTRY32W).
struct ProcessEntry {
    uint32_t th32ProcessID = 0;
    uint32_t th32ParentProcessID = 0;
    std::wstring szExeFile;
};

inline constexpr uint32_t kProcessSynchronizeQueryInformation = 0x100400;  // SYNCHRONIZE | PROCESS_QUERY_INFORMATION
inline constexpr uint32_t kCreateNewConsole = 0x10;                          // CREATE_NEW_CONSOLE

struct IProcesses : virtual IAddReleaseRef {
    // OpenProcess, handle not inherited. 0 or an error number.
    virtual Win32Error OpenProcess(uint32_t access, uint32_t processId, CRefPtr<IProcessHandle>& process) = 0;
    // CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS) walked with
    // Process32FirstW / Process32NextW.
    virtual Win32Error CreateToolhelp32Snapshot(std::vector<ProcessEntry>& processes) = 0;
    // DuplicateHandle of both, then CreateThread: the thread waits for the
    // process or the event (WaitForMultipleObjects, no time limit), then
    // calls done(processEnded) on itself and closes its handles. Nobody joins
    // it. 0 or an error number; on failure done is never called.
    virtual Win32Error WaitForProcessExit(IProcessHandle* process, IEvent* stop,
                                          std::function<void(bool processEnded)> done) = 0;
    // CreateProcessW with the application and the whole command line, handles
    // not inherited, the window hidden (STARTF_USESHOWWINDOW, SW_HIDE).
    virtual Win32Error CreateProcess(const std::wstring& application, const std::wstring& commandLine,
                                     uint32_t creationFlags, CRefPtr<IProcessHandle>& process) = 0;
};

}  // namespace qv
