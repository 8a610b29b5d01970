// An element of a page's document, as distinct from a script node. It adds
// nothing to a node but its place in the class tree.
#pragma once

#include "web/web_node.h"

namespace qv {

class CWebElement : public CWebNode {
public:
    CWebElement(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                const CRefPtr<CContentClassifierLog>& log, std::string type, const WebObjectId& id);

protected:
    ~CWebElement() override;
};

}  // namespace qv
