#include "web/web_node.h"

#include <utility>

#include "core/text.h"
#include "web/web_content_classifier.h"
#include "web/web_page.h"

namespace qv {

CWebNode::CWebNode(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                   const CRefPtr<CContentClassifierLog>& log, std::string type, const WebObjectId& id)
    : CWebClassificationObject(traceTarget, dispatcher, log, std::move(type), id) {
    pageId.Subscribe(this, pageId_Handlers());
    WebPage.Subscribe(this, WebPage_Handlers());
}

// Unsubscribing WebPage detaches the node from a page that still lives,
// though the page never changed.
CWebNode::~CWebNode() {
    WebPage.Unsubscribe(this, WebPage_Handlers());
    pageId.Unsubscribe(this, pageId_Handlers());
}

CRefPtr<CWebPage> CWebNode::LivePage() const { return WebPage->Lock(); }

// The page link stays: a node that loses its page id keeps its page until
// another id names a new one.
void CWebNode::CWebNode_pageIdChanging(void*, CallbackCallReason) {
    if (pageId->empty()) return;
    QV_TRACE_SCOPE(L"CWebNode::pageId_Changing", Utf8ToWide(pageId.value()));
    pageID.set(WebObjectId{});
}

void CWebNode::CWebNode_pageIdChanged(void*, CallbackCallReason) {
    if (pageId->empty()) return;
    QV_TRACE_SCOPE(L"CWebNode::pageId_Changed", Utf8ToWide(pageId.value()));
    // Text that is no id names no page; the node stays where it is.
    std::optional<WebObjectId> id = ParseWebObjectId(pageId.value());
    if (!id) return;
    pageID.set(*id);
    CRefPtr<CWebContentClassifier> classifier = WebContentClassifier->Lock();
    if (!classifier) return;
    CRefPtr<CWebClassificationObject> page = classifier->FindOrCreateObject(*id, "web-page");
    WebPage.set(CWeakRefPtr<CWebPage>(dynamic_cast<CWebPage*>(page.get())));
}

void CWebNode::CWebNode_WebPageChanging(void*, CallbackCallReason) {
    if (CRefPtr<CWebPage> page = LivePage()) LeaveCollection(page->WebNodes);
}

void CWebNode::CWebNode_WebPageChanged(void*, CallbackCallReason) {
    if (CRefPtr<CWebPage> page = LivePage()) page->WebNodes.Add(CRefPtr<CWebNode>(this));
}

}  // namespace qv
