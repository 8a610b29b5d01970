// The synchronisation port on Windows: CreateEventW, OpenMutexW and
// CreateMutexExW in the "Global\" namespace, and WaitForMultipleObjects.
#pragma once

#include "platform/sync.h"

namespace qv {

class CWin32Sync : public CAddReleaseRef, public ISync {
public:
    Win32Error CreateEvent(CRefPtr<IEvent>& event) override;
    Win32Error OpenMutex(const std::wstring& name, CRefPtr<INamedMutex>& mutex) override;
    // With the security of win32_mutex_security.h. A name that exists
    // already is opened (ERROR_ALREADY_EXISTS is no failure), and then the
    // ownership asked for is not given, as the system does.
    Win32Error CreateMutex(const std::wstring& name, bool initialOwner, CRefPtr<INamedMutex>& mutex) override;
    // Objects of other platforms, null objects, none or more than 64 give
    // kWaitFailed.
    uint32_t WaitForMultipleObjects(const std::vector<IWaitable*>& objects, uint32_t timeoutMs) override;
};

}  // namespace qv
