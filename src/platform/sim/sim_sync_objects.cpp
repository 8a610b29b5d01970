#include "platform/sim/sim_sync_objects.h"

namespace qv {

void CSimEvent::SetEvent() {
    m_kernel->Journal->Record(L"Sync::SetEvent");
    {
        std::lock_guard lock(m_kernel->Mutex);
        m_signalled = true;
    }
    m_kernel->Changed();
}

bool CSimEvent::IsSet() {
    std::lock_guard lock(m_kernel->Mutex);
    return m_signalled;
}

SimTake CSimMutexObject::TryTake(const SimOwner& owner) {
    if (m_count > 0) {
        if (!(m_owner == owner)) return SimTake::NotSignalled;
        ++m_count;
        return SimTake::Signalled;
    }
    m_owner = owner;
    m_count = 1;
    if (m_abandoned) {
        m_abandoned = false;
        return SimTake::Abandoned;
    }
    return SimTake::Signalled;
}

Win32Error CSimMutexObject::ReleaseBy(const SimOwner& owner) {
    if (!IsOwnedBy(owner)) return kSimErrorNotOwner;
    --m_count;
    return 0;
}

bool CSimMutexObject::AbandonBy(const SimOwner& owner) {
    if (!IsOwnedBy(owner)) return false;
    m_count = 0;
    m_abandoned = true;
    return true;
}

CSimMutexHandle::CSimMutexHandle(CRefPtr<CSimKernel> kernel, CRefPtr<CSimMutexObject> mutex)
    : m_kernel(std::move(kernel)), m_mutex(std::move(mutex)) {
    ++m_mutex->OpenHandles;
}

CSimMutexHandle::~CSimMutexHandle() {
    m_kernel->Journal->Record(L"Sync::CloseHandle", m_mutex->Name);
    std::lock_guard lock(m_kernel->Mutex);
    if (--m_mutex->OpenHandles == 0) {
        auto named = m_kernel->NamedMutexes.find(m_mutex->Name);
        if (named != m_kernel->NamedMutexes.end() && named->second == m_mutex.get())
            m_kernel->NamedMutexes.erase(named);
    }
}

Win32Error CSimMutexHandle::ReleaseMutex() {
    Win32Error result;
    {
        std::lock_guard lock(m_kernel->Mutex);
        result = m_mutex->ReleaseBy(SimOwner::CurrentThread());
    }
    if (result == 0) m_kernel->Changed();
    return result;
}

}  // namespace qv
