// The process port on Linux: process handles are pidfds
// (linux_process_handle.h), the snapshot is a walk of /proc, waits for an
// exit poll the pidfd and the stop event on a CThread each, and children
// start with posix_spawn.
//
// Snapshot rows name the image by the file name of /proc/PID/exe, or, where
// that cannot be read (another user's process, a kernel thread), by the
// process's comm, which the kernel cuts to 15 characters.
//
// CreateProcess splits the command line as Windows does (linux_command_line.h)
// and runs the application with those arguments (argv[0] included), or,
// without an application, the first argument looked up in PATH. The child
// inherits standard input, output and error and nothing else, starts with
// every signal at its default and none blocked, and with CREATE_NEW_CONSOLE
// in a session of its own, so that the terminal's Ctrl-C does not reach it.
#pragma once

#include "platform/process.h"

namespace qv {

class CLinuxProcesses : public CAddReleaseRef, public IProcesses {
public:
    // Linux has no access rights on a process to ask for: the access is
    // not looked at, and what /proc refuses is ERROR_ACCESS_DENIED.
    Win32Error OpenProcess(uint32_t access, uint32_t processId, CRefPtr<IProcessHandle>& process) override;
    Win32Error CreateToolhelp32Snapshot(std::vector<ProcessEntry>& processes) override;
    // The process must be a handle of this port and the event one of the
    // synchronisation port's (ERROR_INVALID_HANDLE otherwise). At process
    // end the thread is stopped without calling back.
    Win32Error WaitForProcessExit(IProcessHandle* process, IEvent* stop,
                                  std::function<void(bool processEnded)> done) override;
    Win32Error CreateProcess(const std::wstring& application, const std::wstring& commandLine, uint32_t creationFlags,
                             CRefPtr<IProcessHandle>& process) override;
};

}  // namespace qv
