// A <script> of a page with its source text: on the video site the page's
// own script carries the video's metadata. The text is read when the node
// enters its page's ScriptNodes, not when it changes.
#pragma once

#include "web/web_node.h"

namespace qv {

class CWebScriptNode : public CWebNode {
public:
    CWebScriptNode(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                   const CRefPtr<CContentClassifierLog>& log, const WebObjectId& id);

    observable_property<CWebScriptNode, std::string> text{this, "text"};

protected:
    ~CWebScriptNode() override;

private:
    QV_PROPERTY_HANDLERS(CWebScriptNode, WebPage)
    QV_PROPERTY_HANDLERS(CWebScriptNode, text)
};

}  // namespace qv
