// The waitable objects of the synchronisation port on Windows: an event and
// a named mutex, each one kernel handle, closed with the last reference.
#pragma once

#include "platform/sync.h"
#include "platform/win32/win32_unique_handle.h"
#include "platform/win32/win32_waitable.h"

namespace qv {

class CWin32Event : public CAddReleaseRef, public IEvent, public IWin32Waitable {
public:
    explicit CWin32Event(CUniqueHandle handle) : m_handle(std::move(handle)) {}
    void SetEvent() override { ::SetEvent(m_handle.get()); }
    HANDLE WaitHandle() const override { return m_handle.get(); }

private:
    const CUniqueHandle m_handle;
};

class CWin32NamedMutex : public CAddReleaseRef, public INamedMutex, public IWin32Waitable {
public:
    explicit CWin32NamedMutex(CUniqueHandle handle) : m_handle(std::move(handle)) {}
    Win32Error ReleaseMutex() override { return ::ReleaseMutex(m_handle.get()) ? ERROR_SUCCESS : ::GetLastError(); }
    HANDLE WaitHandle() const override { return m_handle.get(); }

private:
    const CUniqueHandle m_handle;
};

}  // namespace qv
