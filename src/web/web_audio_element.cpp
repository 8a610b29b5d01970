#include "web/web_audio_element.h"

#include "web/web_page.h"

namespace qv {

CWebAudioElement::CWebAudioElement(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                   const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                   const CRefPtr<CContentClassifierLog>& log, const WebObjectId& id)
    : CWebMediaElement(traceTarget, dispatcher, log, "web-audio-element", id) {
    WebPage.Subscribe(this, WebPage_Handlers());
}

CWebAudioElement::~CWebAudioElement() { WebPage.Unsubscribe(this, WebPage_Handlers()); }

// Unsubscribing playing takes the element out of the page's playing audio elements.
void CWebAudioElement::CWebAudioElement_WebPageChanging(void*, CallbackCallReason) {
    if (WebPage->empty()) return;
    playing.Unsubscribe(this, playing_Handlers());
    if (CRefPtr<CWebPage> page = LivePage()) LeaveCollection(page->AudioElements);
}

void CWebAudioElement::CWebAudioElement_WebPageChanged(void*, CallbackCallReason) {
    if (CRefPtr<CWebPage> page = LivePage()) page->AudioElements.Add(CRefPtr<CWebAudioElement>(this));
    if (!WebPage->empty()) playing.Subscribe(this, playing_Handlers());
}

void CWebAudioElement::CWebAudioElement_playingChanging(void*, CallbackCallReason) {
    if (!playing.value()) return;
    QV_TRACE_SCOPE(L"CWebAudioElement::playing_Changing", std::wstring(L"true"));
    if (CRefPtr<CWebPage> page = LivePage()) LeaveCollection(page->PlayingAudioElements);
}

void CWebAudioElement::CWebAudioElement_playingChanged(void*, CallbackCallReason) {
    if (!playing.value()) return;
    QV_TRACE_SCOPE(L"CWebAudioElement::playing_Changed");
    if (CRefPtr<CWebPage> page = LivePage()) page->PlayingAudioElements.Add(CRefPtr<CWebAudioElement>(this));
}

}  // namespace qv
