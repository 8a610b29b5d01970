#include "shell/named_mutex.h"

#include "platform/codes.h"
#include "platform/platform.h"

namespace qv {

namespace {

CRefPtr<ISync> SyncPort() {
    CRefPtr<IPlatform> platform = GetPlatform();
    return platform ? platform->Sync() : nullptr;
}

}  // namespace

int CNamedMutex::Report(Win32Error error) {
    if (m_handle) return 1;
    DBG_TRACE* trace = TraceRecordOf(m_traceTarget.get());
    if (TraceEnabled(trace)) DBG_TRACE_Print(trace, L"Failed to create mutex with error code = %i\n", error);
    return 0;
}

int CNamedMutex::Open(const std::wstring& name) {
    if (m_handle) return 1;
    m_name = name;
    CRefPtr<ISync> sync = SyncPort();
    // Without a sync port there is nothing to open: the process then counts
    // as alone and its starter as gone.
    return Report(sync ? sync->OpenMutex(name, m_handle) : ERROR_CALL_NOT_IMPLEMENTED);
}

int CNamedMutex::Create() {
    if (m_handle) return 1;
    m_name = kInstanceMutexName;
    CRefPtr<ISync> sync = SyncPort();
    return Report(sync ? sync->CreateMutex(m_name, false, m_handle) : ERROR_CALL_NOT_IMPLEMENTED);
}

}  // namespace qv
