// An open process on Windows: the handle of OpenProcess or CreateProcessW,
// closed with the last reference.
#pragma once

#include "platform/process.h"
#include "platform/win32/win32_unique_handle.h"
#include "platform/win32/win32_waitable.h"

namespace qv {

class CWin32ProcessHandle : public CAddReleaseRef, public IProcessHandle, public IWin32Waitable {
public:
    CWin32ProcessHandle(CUniqueHandle handle, uint32_t processId)
        : m_handle(std::move(handle)), m_processId(processId) {}

    Win32Error GetProcessTimes(FILETIME& creation, FILETIME& exit, FILETIME& kernel, FILETIME& user) override;
    // K32GetModuleFileNameExW, and QueryFullProcessImageNameW where that
    // fails: the model opens processes with SYNCHRONIZE and
    // PROCESS_QUERY_INFORMATION only, and without PROCESS_VM_READ the
    // module list cannot be read everywhere (Wine refuses with error 5).
    // The image path of the second call is the same file in the same form.
    // Should both fail, the first call's error is the answer.
    Win32Error GetModuleFileNameEx(std::wstring& path) override;
    Win32Error GetExitCodeProcess(uint32_t& exitCode) override;
    uint32_t ProcessId() const override { return m_processId; }
    HANDLE WaitHandle() const override { return m_handle.get(); }

private:
    const CUniqueHandle m_handle;
    const uint32_t m_processId;
};

}  // namespace qv
