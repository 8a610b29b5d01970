#include "web/web_video_element.h"

#include "web/web_page.h"

namespace qv {

CWebVideoElement::CWebVideoElement(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                   const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                   const CRefPtr<CContentClassifierLog>& log, const WebObjectId& id)
    : CWebMediaElement(traceTarget, dispatcher, log, "web-video-element", id) {
    WebPage.Subscribe(this, WebPage_Handlers());
}

CWebVideoElement::~CWebVideoElement() { WebPage.Unsubscribe(this, WebPage_Handlers()); }

// Unsubscribing playing takes the element out of the page's playing videos.
void CWebVideoElement::CWebVideoElement_WebPageChanging(void*, CallbackCallReason) {
    if (WebPage->empty()) return;
    playing.Unsubscribe(this, playing_Handlers());
    if (CRefPtr<CWebPage> page = LivePage()) LeaveCollection(page->VideoElements);
}

void CWebVideoElement::CWebVideoElement_WebPageChanged(void*, CallbackCallReason) {
    if (CRefPtr<CWebPage> page = LivePage()) page->VideoElements.Add(CRefPtr<CWebVideoElement>(this));
    if (!WebPage->empty()) playing.Subscribe(this, playing_Handlers());
}

void CWebVideoElement::CWebVideoElement_playingChanging(void*, CallbackCallReason) {
    if (!playing.value()) return;
    QV_TRACE_SCOPE(L"CWebVideoElement::playing_Changing", std::wstring(L"true"));
    if (CRefPtr<CWebPage> page = LivePage()) LeaveCollection(page->PlayingVideoElements);
}

void CWebVideoElement::CWebVideoElement_playingChanged(void*, CallbackCallReason) {
    if (!playing.value()) return;
    QV_TRACE_SCOPE(L"CWebVideoElement::playing_Changed");
    if (CRefPtr<CWebPage> page = LivePage()) page->PlayingVideoElements.Add(CRefPtr<CWebVideoElement>(this));
}

}  // namespace qv
