#include "web/web_media_element.h"

#include <utility>

#include "core/text.h"
#include "web/web_page.h"

namespace qv {

CWebMediaElement::CWebMediaElement(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                   const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                   const CRefPtr<CContentClassifierLog>& log, std::string type, const WebObjectId& id)
    : CWebElement(traceTarget, dispatcher, log, std::move(type), id) {
    WebPage.Subscribe(this, WebPage_Handlers());
}

CWebMediaElement::~CWebMediaElement() { WebPage.Unsubscribe(this, WebPage_Handlers()); }

// The element watches its own sources and playing only while it has a page:
// unsubscribing replays playing's _Changing, which takes it out of the
// playing collection of the page it leaves.
void CWebMediaElement::CWebMediaElement_WebPageChanging(void*, CallbackCallReason) {
    if (WebPage->empty()) return;
    src.Unsubscribe(this, src_Handlers());
    currentSrc.Unsubscribe(this, currentSrc_Handlers());
    playing.Unsubscribe(this, playing_Handlers());
    if (CRefPtr<CWebPage> page = LivePage()) LeaveCollection(page->MediaElements);
}

// Subscribing replays playing's _Changed, so an element that already plays
// enters the new page's playing collection here.
void CWebMediaElement::CWebMediaElement_WebPageChanged(void*, CallbackCallReason) {
    if (WebPage->empty()) return;
    if (CRefPtr<CWebPage> page = LivePage()) page->MediaElements.Add(CRefPtr<CWebMediaElement>(this));
    src.Subscribe(this, src_Handlers());
    currentSrc.Subscribe(this, currentSrc_Handlers());
    playing.Subscribe(this, playing_Handlers());
}

void CWebMediaElement::CWebMediaElement_srcChanging(void*, CallbackCallReason) {
    if (!src->empty()) {
        QV_TRACE_SCOPE(L"CWebMediaElement::src_Changing", Utf8ToWide(src.value()));
    }
}

void CWebMediaElement::CWebMediaElement_srcChanged(void*, CallbackCallReason) {
    if (!src->empty()) {
        QV_TRACE_SCOPE(L"CWebMediaElement::src_Changed", Utf8ToWide(src.value()));
    }
}

void CWebMediaElement::CWebMediaElement_currentSrcChanging(void*, CallbackCallReason) {
    if (!currentSrc->empty()) {
        QV_TRACE_SCOPE(L"CWebMediaElement::currentSrc_Changing", Utf8ToWide(currentSrc.value()));
    }
}

void CWebMediaElement::CWebMediaElement_currentSrcChanged(void*, CallbackCallReason) {
    if (!currentSrc->empty()) {
        QV_TRACE_SCOPE(L"CWebMediaElement::currentSrc_Changed", Utf8ToWide(currentSrc.value()));
    }
}

// Only the edges of true count: the rise adds in _Changed, the fall removes
// in _Changing.
void CWebMediaElement::CWebMediaElement_playingChanging(void*, CallbackCallReason) {
    if (!playing.value()) return;
    QV_TRACE_SCOPE(L"CWebMediaElement::playing_Changing", std::wstring(L"true"));
    if (CRefPtr<CWebPage> page = LivePage()) LeaveCollection(page->PlayingMediaElements);
}

void CWebMediaElement::CWebMediaElement_playingChanged(void*, CallbackCallReason) {
    if (!playing.value()) return;
    QV_TRACE_SCOPE(L"CWebMediaElement::playing_Changed");
    if (CRefPtr<CWebPage> page = LivePage()) page->PlayingMediaElements.Add(CRefPtr<CWebMediaElement>(this));
}

}  // namespace qv
