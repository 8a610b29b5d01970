#include "platform/win32/win32_sync.h"

#include "platform/win32/win32_security.h"
#include "platform/win32/win32_sync_objects.h"

namespace qv {

namespace {

std::wstring GlobalName(const std::wstring& name) { return L"Global\\" + name; }

}  // namespace

Win32Error CWin32Sync::CreateEvent(CRefPtr<IEvent>& event) {
    event = nullptr;
    CUniqueHandle handle(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!handle) return ::GetLastError();
    event = MakeRef<CWin32Event>(std::move(handle));
    return ERROR_SUCCESS;
}

Win32Error CWin32Sync::OpenMutex(const std::wstring& name, CRefPtr<INamedMutex>& mutex) {
    mutex = nullptr;
    CUniqueHandle handle(::OpenMutexW(SYNCHRONIZE, FALSE, GlobalName(name).c_str()));
    if (!handle) return ::GetLastError();
    mutex = MakeRef<CWin32NamedMutex>(std::move(handle));
    return ERROR_SUCCESS;
}

Win32Error CWin32Sync::CreateMutex(const std::wstring& name, bool initialOwner, CRefPtr<INamedMutex>& mutex) {
    mutex = nullptr;
    // An owner must be able to give the mutex back: ReleaseMutex wants
    // MUTEX_MODIFY_STATE on the handle. A mutex nobody owns is only ever
    // waited for, or merely kept in existence, for which SYNCHRONIZE is all.
    const DWORD access = initialOwner ? SYNCHRONIZE | MUTEX_MODIFY_STATE : SYNCHRONIZE;
    CUniqueHandle handle(::CreateMutexExW(MutexSecurityAttributes(), GlobalName(name).c_str(),
                                          initialOwner ? CREATE_MUTEX_INITIAL_OWNER : 0, access));
    if (!handle) return ::GetLastError();
    mutex = MakeRef<CWin32NamedMutex>(std::move(handle));
    return ERROR_SUCCESS;
}

uint32_t CWin32Sync::WaitForMultipleObjects(const std::vector<IWaitable*>& objects, uint32_t timeoutMs) {
    if (objects.empty() || objects.size() > MAXIMUM_WAIT_OBJECTS) return kWaitFailed;
    // The caller's references keep the objects for the call; these make sure
    // of it should another thread let go meanwhile.
    std::vector<CRefPtr<IWaitable>> held;
    std::vector<HANDLE> handles;
    for (IWaitable* object : objects) {
        auto* waitable = dynamic_cast<IWin32Waitable*>(object);
        if (!waitable) return kWaitFailed;
        held.emplace_back(object);
        handles.push_back(waitable->WaitHandle());
    }
    const DWORD count = static_cast<DWORD>(handles.size());
    const DWORD result = ::WaitForMultipleObjects(count, handles.data(), FALSE, timeoutMs);
    if (result < WAIT_OBJECT_0 + count) return kWaitObject0 + (result - WAIT_OBJECT_0);
    if (result >= WAIT_ABANDONED_0 && result < WAIT_ABANDONED_0 + count)
        return kWaitAbandoned0 + (result - WAIT_ABANDONED_0);
    if (result == WAIT_TIMEOUT) return kWaitTimeout;
    return kWaitFailed;
}

}  // namespace qv
