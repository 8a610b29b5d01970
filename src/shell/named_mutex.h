// A named mutex of the machine-wide namespace, as the process holds its two:
// the instance marker, whose mere existence says that an instance runs, and
// the starter's exit token, which the exit watcher waits on. The handle
// closes with the object.
#pragma once

#include <string>

#include "core/trace.h"
#include "platform/sync.h"

namespace qv {

// The instance marker's name; the platform puts the namespace in front.
inline constexpr const wchar_t* kInstanceMutexName = L"{3BD7F352-C47B-4954-BF81-922D8C719A2E}";

class CNamedMutex {
public:
    // The process passes no trace target for either mutex: the trace is not
    // up yet when they are opened.
    explicit CNamedMutex(const CRefPtr<ITraceFuncCallTarget>& traceTarget) : m_traceTarget(traceTarget) {}
    CNamedMutex(const CNamedMutex&) = delete;
    CNamedMutex& operator=(const CNamedMutex&) = delete;

    // Opens an existing mutex for waiting. 1 if a handle is held (also when
    // one was held already, which is then kept untouched), 0 otherwise.
    int Open(const std::wstring& name);
    // Creates the instance marker (this operation knows no other name), not
    // owned and open to everyone. 1 if a handle is held, 0 otherwise.
    int Create();

    // The open handle, or null.
    const CRefPtr<INamedMutex>& Handle() const { return m_handle; }
    const std::wstring& Name() const { return m_name; }

private:
    int Report(Win32Error error);

    CRefPtr<ITraceFuncCallTarget> m_traceTarget;
    CRefPtr<INamedMutex> m_handle;
    std::wstring m_name;
};

}  // namespace qv
