#include "web/web_classification_object.h"

#include <utility>

namespace qv {

CWebClassificationObject::CWebClassificationObject(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                                   const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                                   const CRefPtr<CContentClassifierLog>& log, std::string type,
                                                   const WebObjectId& id)
    : CCommonBase(traceTarget, dispatcher, log), Type(std::move(type)), Id(id) {}

CWebClassificationObject::~CWebClassificationObject() = default;

}  // namespace qv
