#include "platform/win32/win32_processes.h"

#include <cwchar>
#include <memory>

#include "platform/win32/win32_process_handle.h"
#include "platform/win32/win32_unique_handle.h"
#include "platform/win32/win32_waitable.h"

#include <tlhelp32.h>

namespace qv {

namespace {

// What the wait thread owns: the duplicated handles and the function. It is
// freed on the thread when the wait is over, which closes the handles.
struct ProcessExitWait {
    CUniqueHandle process;
    CUniqueHandle stop;
    std::function<void(bool processEnded)> done;
};

DWORD WINAPI WaitForProcessExitThread(LPVOID parameter) {
    std::unique_ptr<ProcessExitWait> wait(static_cast<ProcessExitWait*>(parameter));
    const HANDLE handles[2] = {wait->process.get(), wait->stop.get()};
    const DWORD result = ::WaitForMultipleObjects(2, handles, FALSE, INFINITE);
    wait->done(result == WAIT_OBJECT_0);
    return 0;
}

Win32Error Duplicate(HANDLE source, CUniqueHandle& copy) {
    const HANDLE self = ::GetCurrentProcess();
    if (!::DuplicateHandle(self, source, self, copy.put(), 0, FALSE, DUPLICATE_SAME_ACCESS)) return ::GetLastError();
    return ERROR_SUCCESS;
}

}  // namespace

Win32Error CWin32Processes::OpenProcess(uint32_t access, uint32_t processId, CRefPtr<IProcessHandle>& process) {
    process = nullptr;
    CUniqueHandle handle(::OpenProcess(access, FALSE, processId));
    if (!handle) return ::GetLastError();
    process = MakeRef<CWin32ProcessHandle>(std::move(handle), processId);
    return ERROR_SUCCESS;
}

Win32Error CWin32Processes::CreateToolhelp32Snapshot(std::vector<ProcessEntry>& processes) {
    processes.clear();
    CUniqueHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) return ::GetLastError();
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    if (!::Process32FirstW(snapshot.get(), &entry)) return ::GetLastError();
    do {
        // The name fills a fixed array; it is read up to its end at most.
        const std::size_t length = ::wcsnlen(entry.szExeFile, sizeof entry.szExeFile / sizeof entry.szExeFile[0]);
        processes.push_back(
            ProcessEntry{entry.th32ProcessID, entry.th32ParentProcessID, std::wstring(entry.szExeFile, length)});
        entry.dwSize = sizeof entry;
    } while (::Process32NextW(snapshot.get(), &entry));
    // The walk ends with ERROR_NO_MORE_FILES; any other end still leaves the
    // rows read so far, which is all a snapshot can give.
    return ERROR_SUCCESS;
}

Win32Error CWin32Processes::WaitForProcessExit(IProcessHandle* process, IEvent* stop,
                                               std::function<void(bool processEnded)> done) {
    if (!process || !done) return ERROR_INVALID_PARAMETER;
    auto* processHandle = dynamic_cast<IWin32Waitable*>(process);
    auto* stopHandle = dynamic_cast<IWin32Waitable*>(stop);
    if (!processHandle || !stopHandle) return ERROR_INVALID_HANDLE;
    auto wait = std::make_unique<ProcessExitWait>();
    if (Win32Error error = Duplicate(processHandle->WaitHandle(), wait->process); error != 0) return error;
    if (Win32Error error = Duplicate(stopHandle->WaitHandle(), wait->stop); error != 0) return error;
    wait->done = std::move(done);
    DWORD threadId = 0;
    CUniqueHandle thread(::CreateThread(nullptr, 0, WaitForProcessExitThread, wait.get(), 0, &threadId));
    if (!thread) return ::GetLastError();
    // The thread owns it now; nobody joins the thread, so its handle goes at once.
    wait.release();
    return ERROR_SUCCESS;
}

Win32Error CWin32Processes::CreateProcess(const std::wstring& application, const std::wstring& commandLine,
                                          uint32_t creationFlags, CRefPtr<IProcessHandle>& process) {
    process = nullptr;
    if (application.empty() && commandLine.empty()) return ERROR_INVALID_PARAMETER;
    // CreateProcessW may write into the command line, so it gets a copy.
    std::wstring arguments = commandLine;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    PROCESS_INFORMATION started{};
    if (!::CreateProcessW(application.empty() ? nullptr : application.c_str(),
                          arguments.empty() ? nullptr : arguments.data(), nullptr, nullptr, FALSE, creationFlags,
                          nullptr, nullptr, &startup, &started))
        return ::GetLastError();
    CUniqueHandle thread(started.hThread);
    process = MakeRef<CWin32ProcessHandle>(CUniqueHandle(started.hProcess), started.dwProcessId);
    return ERROR_SUCCESS;
}

}  // namespace qv
