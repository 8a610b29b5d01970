#include "web/web_element.h"

#include <utility>

namespace qv {

CWebElement::CWebElement(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                         const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log,
                         std::string type, const WebObjectId& id)
    : CWebNode(traceTarget, dispatcher, log, std::move(type), id) {
    QV_TRACE_SCOPE(L"CWebElement::CWebElement");
}

CWebElement::~CWebElement() { QV_TRACE_SCOPE(L"CWebElement::~CWebElement"); }

}  // namespace qv
