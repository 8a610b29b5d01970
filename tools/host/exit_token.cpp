#include "exit_token.h"

namespace qv::host {

bool CExitToken::Create(IPlatform& platform, std::string& error) {
    CRefPtr<ISystem> system = platform.System();
    CRefPtr<ISync> sync = platform.Sync();
    if (!system || !sync) {
        error = "this platform has no named mutexes for the exit token";
        return false;
    }
    GUID guid{};
    if (const HRESULT hr = system->CoCreateGuid(guid); hr < 0) {
        error = "cannot make a name for the exit token (error " + std::to_string(hr) + ")";
        return false;
    }
    m_name = GuidToString(guid);
    if (const Win32Error code = sync->CreateMutex(m_name, true, m_mutex); code != 0 || !m_mutex) {
        error = "cannot create the exit token (error " + std::to_string(code) + ")";
        return false;
    }
    return true;
}

void CExitToken::Release() {
    if (!m_mutex) return;
    m_mutex->ReleaseMutex();
    m_mutex = nullptr;
}

}  // namespace qv::host
