#include "core/common_base.h"

#include "classify/content_classifier_log.h"

namespace qv {

CCommonBase::CCommonBase(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                         const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log)
    : m_traceTarget(traceTarget), m_dispatcher(dispatcher), m_log(log) {
    QV_TRACE_SCOPE(L"CCommonBase::CCommonBase");
    Trace(L"ThreadId = %i.\n", ThreadId);
}

CCommonBase::~CCommonBase() {
    QV_TRACE_SCOPE(L"CCommonBase::~CCommonBase");
}

}  // namespace qv
