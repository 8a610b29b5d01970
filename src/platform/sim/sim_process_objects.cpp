#include "platform/sim/sim_process_objects.h"

#include "platform/codes.h"

namespace qv {

CSimProcessContext::CSimProcessContext(CRefPtr<CSimKernel> kernel)
    : Kernel(std::move(kernel)),
      Failures({L"OpenProcess", L"GetProcessTimes", L"GetModuleFileNameEx", L"GetExitCodeProcess",
                L"CreateToolhelp32Snapshot", L"WaitForProcessExit", L"CreateProcess"}) {}

Win32Error CSimProcessHandle::GetProcessTimes(FILETIME& creation, FILETIME& exit, FILETIME& kernel, FILETIME& user) {
    if (auto failure = m_context->Failures.Enter(L"GetProcessTimes", {Target()})) return *failure;
    std::lock_guard lock(m_context->Kernel->Mutex);
    creation = m_process->Creation;
    exit = m_process->Ended ? m_process->Exit : FILETIME{};
    // The simulated processes use no processor time.
    kernel = FILETIME{};
    user = FILETIME{};
    return ERROR_SUCCESS;
}

Win32Error CSimProcessHandle::GetModuleFileNameEx(std::wstring& path) {
    if (auto failure = m_context->Failures.Enter(L"GetModuleFileNameEx", {Target()})) return *failure;
    path = m_process->ImagePath;
    return ERROR_SUCCESS;
}

Win32Error CSimProcessHandle::GetExitCodeProcess(uint32_t& exitCode) {
    if (auto failure = m_context->Failures.Enter(L"GetExitCodeProcess", {Target()})) return *failure;
    std::lock_guard lock(m_context->Kernel->Mutex);
    exitCode = m_process->ExitCode;
    return ERROR_SUCCESS;
}

}  // namespace qv
