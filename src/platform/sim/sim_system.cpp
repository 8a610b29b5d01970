#include "platform/sim/sim_system.h"

namespace qv {

HRESULT CSimSystem::CoCreateGuid(GUID& guid) {
    HRESULT hr = CoCreateGuidResult.load();
    if (hr < 0) return hr;
    guid = GUID{};
    guid.Data1 = 0x51A10000u + GuidCounter.fetch_add(1) + 1;
    guid.Data4 = {0x80, 0, 0, 0, 0, 0, 0, 0x01};
    return 0;
}

Win32Error CSimSystem::GetModuleFileName(std::wstring& path) {
    std::lock_guard lock(m_mutex);
    path = m_modulePath;
    return 0;
}

void CSimSystem::SetModuleFileName(const std::wstring& path) {
    std::lock_guard lock(m_mutex);
    m_modulePath = path;
}

HRESULT CSimSystem::CoInitializeEx() {
    m_journal->Record(L"System::CoInitializeEx");
    return CoInitializeExResult.load();
}

void CSimSystem::CoUninitialize() { m_journal->Record(L"System::CoUninitialize"); }

uint32_t CSimSystem::LookUpNtdllFunctions() {
    m_journal->Record(L"System::LookUpNtdllFunctions");
    return 3;
}

HRESULT CSimSystem::MFStartup() {
    m_journal->Record(L"System::MFStartup");
    return 0;
}

}  // namespace qv
