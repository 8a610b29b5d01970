#include "web/web_script_node.h"

#include "web/web_page.h"

namespace qv {

CWebScriptNode::CWebScriptNode(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                               const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                               const CRefPtr<CContentClassifierLog>& log, const WebObjectId& id)
    : CWebNode(traceTarget, dispatcher, log, "web-script-node", id) {
    WebPage.Subscribe(this, WebPage_Handlers());
}

CWebScriptNode::~CWebScriptNode() { WebPage.Unsubscribe(this, WebPage_Handlers()); }

void CWebScriptNode::CWebScriptNode_WebPageChanging(void*, CallbackCallReason) {
    CRefPtr<CWebPage> page = LivePage();
    if (!page) return;
    text.Unsubscribe(this, text_Handlers());
    LeaveCollection(page->ScriptNodes);
}

void CWebScriptNode::CWebScriptNode_WebPageChanged(void*, CallbackCallReason) {
    CRefPtr<CWebPage> page = LivePage();
    if (!page) return;
    page->ScriptNodes.Add(CRefPtr<CWebScriptNode>(this));
    text.Subscribe(this, text_Handlers());
}

// A seam for whoever wants to follow a script's text as it changes; the
// metadata reads it once, on the node's entry into ScriptNodes.
void CWebScriptNode::CWebScriptNode_textChanging(void*, CallbackCallReason) {}
void CWebScriptNode::CWebScriptNode_textChanged(void*, CallbackCallReason) {}

}  // namespace qv
