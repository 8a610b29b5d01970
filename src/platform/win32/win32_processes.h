// The process port on Windows: OpenProcess, the Toolhelp snapshot, a thread
// of CreateThread per wait for a process's end, and CreateProcessW.
#pragma once

#include "platform/process.h"

namespace qv {

class CWin32Processes : public CAddReleaseRef, public IProcesses {
public:
    Win32Error OpenProcess(uint32_t access, uint32_t processId, CRefPtr<IProcessHandle>& process) override;
    Win32Error CreateToolhelp32Snapshot(std::vector<ProcessEntry>& processes) override;
    // The process and the event must be objects of this platform's ports
    // (ERROR_INVALID_HANDLE otherwise). The thread works on duplicates of
    // their handles, so the caller may let go of both at once. Whatever
    // ends the wait, done is called on the thread: with true if the process
    // had ended (also when the wait itself failed, with false).
    Win32Error WaitForProcessExit(IProcessHandle* process, IEvent* stop,
                                  std::function<void(bool processEnded)> done) override;
    // An empty application lets the command line name the program, and an
    // empty command line runs the application without arguments.
    Win32Error CreateProcess(const std::wstring& application, const std::wstring& commandLine, uint32_t creationFlags,
                             CRefPtr<IProcessHandle>& process) override;
};

}  // namespace qv
