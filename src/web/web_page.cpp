#include "web/web_page.h"

#include <cstddef>
#include <optional>
#include <string_view>

#include "core/text.h"
#include "web/url_parts.h"
#include "web/web_content_classifier.h"

namespace qv {

namespace {

// What "([0-9]+)(?:\.([0-9]+))?(?:\.([0-9]+))?(?:\.([0-9]+))?" finds first,
// each part kept to its low byte (read wrapping, which keeps the low byte of
// the true number). Written out, as the text is the add-on's word and a
// backtracking search recurses once per digit.
uint32_t ParseExtensionVersion(const std::string& text) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    std::size_t at = 0;
    while (at < text.size() && !isDigit(text[at])) ++at;
    if (at == text.size()) return CWebPage::kFirstExtensionVersion;
    uint32_t number = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0) {
            if (at + 1 >= text.size() || text[at] != '.' || !isDigit(text[at + 1])) break;
            ++at;
        }
        uint32_t value = 0;
        for (; at < text.size() && isDigit(text[at]); ++at) value = value * 10u + static_cast<uint32_t>(text[at] - '0');
        number |= (value & 0xFFu) << (24 - 8 * part);
    }
    return number;
}

// The video site's hosts: a subdomain of its domain, in any case.
bool IsVideoSiteHost(const std::string& host) {
    constexpr std::string_view kSuffix = ".youtube.com";
    if (host.size() < kSuffix.size()) return false;
    for (std::size_t i = 0; i < kSuffix.size(); ++i) {
        const char c = host[host.size() - kSuffix.size() + i];
        if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != kSuffix[i]) return false;
    }
    return true;
}

}  // namespace

CWebPage::CWebPage(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                   const CRefPtr<CContentClassifierLog>& log, const WebObjectId& id)
    : CWebClassificationObject(traceTarget, dispatcher, log, "web-page", id) {
    WebContentClassifier.Subscribe(this, WebContentClassifier_Handlers());
}

CWebPage::~CWebPage() { WebContentClassifier.Unsubscribe(this, WebContentClassifier_Handlers()); }

// Stage 1: a page with an owner gets its classifier, and the add-on's reports
// start to count.
void CWebPage::CWebPage_WebContentClassifierChanged(void*, CallbackCallReason) {
    if (WebContentClassifier->empty()) return;
    extensionVersion.AddChangedHandler({this, nullptr, extensionVersion_Handlers().changed});
    if (CRefPtr<CWebContentClassifier> owner = WebContentClassifier->Lock()) owner->WebPages.Add(this);
    CRefPtr<CWebPageClassifier> classifier = MakeRef<CWebPageClassifier>(TraceTarget(), Dispatcher(), Log());
    WebPageClassifier.set(classifier);
    classifier->WebContentClassifier.set(WebContentClassifier.value());
    classifier->WebPage.set(CWeakRefPtr<CWebPage>(this));
    disposed.AddChangedHandler({this, nullptr, disposed_Handlers().changed});
    audible.AddChangedHandler({this, nullptr, audible_Handlers().changed});
    muted.AddChangedHandler({this, nullptr, muted_Handlers().changed});
    HasAudibleElements.AddChangedHandler({this, nullptr, HasAudibleElements_Handlers().changed});
    extensionId.Subscribe(this, extensionId_Handlers());
}

// Also the page's end, through the destructor's unsubscription. The nodes
// leave Objects last to first; they die when this page's collections let go
// of them, and find the page no longer alive then.
void CWebPage::CWebPage_WebContentClassifierChanging(void*, CallbackCallReason) {
    if (WebContentClassifier->empty()) return;
    extensionVersion.RemoveChangedHandler({this, nullptr, extensionVersion_Handlers().changed});
    disposed.RemoveChangedHandler({this, nullptr, disposed_Handlers().changed});
    audible.RemoveChangedHandler({this, nullptr, audible_Handlers().changed});
    muted.RemoveChangedHandler({this, nullptr, muted_Handlers().changed});
    HasAudibleElements.RemoveChangedHandler({this, nullptr, HasAudibleElements_Handlers().changed});
    extensionId.Unsubscribe(this, extensionId_Handlers());
    WebPageClassifier.set(nullptr);
    CRefPtr<CWebContentClassifier> owner = WebContentClassifier->Lock();
    if (!owner) return;
    owner->WebPages.Remove(this);
    for (std::size_t i = WebNodes.size(); i-- > 0;)
        if (i < WebNodes.size()) owner->Objects.Remove(WebNodes[i]->Id);
}

// Stage 2.
void CWebPage::CWebPage_extensionVersionChanged(void*, CallbackCallReason) {
    if (extensionVersion->empty()) return;
    extensionVersionNumber.set(ParseExtensionVersion(extensionVersion.value()));
}

// Subscribed for _Changed alone.
void CWebPage::CWebPage_extensionVersionChanging(void*, CallbackCallReason) {}

// Stage 3.
void CWebPage::CWebPage_extensionIdChanged(void*, CallbackCallReason) {
    if (!extensionId->empty()) extensionVersionNumber.Subscribe(this, extensionVersionNumber_Handlers());
}

void CWebPage::CWebPage_extensionIdChanging(void*, CallbackCallReason) {
    if (!extensionId->empty()) extensionVersionNumber.Unsubscribe(this, extensionVersionNumber_Handlers());
}

// Stage 4: version 1.0 exactly reads the metadata from the page's script
// alone; every other version from the watch page too. Nothing here ever
// asks the site's video information by id.
void CWebPage::CWebPage_extensionVersionNumberChanged(void*, CallbackCallReason) {
    if (extensionVersionNumber.value() == 0) return;
    extractYoutubeMetaFromScript.set(true);
    extractYoutubeMetaFromVideoId.set(false);
    if (extensionVersionNumber.value() != kFirstExtensionVersion) extractYoutubeMetaFromHtmlPage.set(true);
    WebPageClassifier.Subscribe(this, WebPageClassifier_Handlers());
}

void CWebPage::CWebPage_extensionVersionNumberChanging(void*, CallbackCallReason) {
    if (extensionVersionNumber.value() == 0) return;
    extractYoutubeMetaFromScript.set(false);
    extractYoutubeMetaFromVideoId.set(false);
    extractYoutubeMetaFromHtmlPage.set(false);
    WebPageClassifier.Unsubscribe(this, WebPageClassifier_Handlers());
}

// Stage 5: the reported values start to count. url comes before its parts,
// so each part's handler first sees the part already set.
void CWebPage::CWebPage_WebPageClassifierChanged(void*, CallbackCallReason) {
    if (!WebPageClassifier.value()) return;
    timeStamp.AddChangedHandler({this, nullptr, timeStamp_Handlers().changed});
    WebNodes.Subscribe(this, WebNodes_CollectionHandlers());
    tabId.Subscribe(this, tabId_Handlers());
    url.Subscribe(this, url_Handlers());
    urlScheme.Subscribe(this, urlScheme_Handlers());
    urlUserinfo.Subscribe(this, urlUserinfo_Handlers());
    urlHost.Subscribe(this, urlHost_Handlers());
    urlPath.Subscribe(this, urlPath_Handlers());
    urlPort.Subscribe(this, urlPort_Handlers());
    urlQuery.Subscribe(this, urlQuery_Handlers());
    urlFragment.Subscribe(this, urlFragment_Handlers());
    title.Subscribe(this, title_Handlers());
}

void CWebPage::CWebPage_WebPageClassifierChanging(void*, CallbackCallReason) {
    if (!WebPageClassifier.value()) return;
    timeStamp.RemoveChangedHandler({this, nullptr, timeStamp_Handlers().changed});
    WebNodes.Unsubscribe(this, WebNodes_CollectionHandlers());
    tabId.Unsubscribe(this, tabId_Handlers());
    url.Unsubscribe(this, url_Handlers());
    urlScheme.Unsubscribe(this, urlScheme_Handlers());
    urlUserinfo.Unsubscribe(this, urlUserinfo_Handlers());
    urlHost.Unsubscribe(this, urlHost_Handlers());
    urlPath.Unsubscribe(this, urlPath_Handlers());
    urlPort.Unsubscribe(this, urlPort_Handlers());
    urlQuery.Unsubscribe(this, urlQuery_Handlers());
    urlFragment.Unsubscribe(this, urlFragment_Handlers());
    title.Unsubscribe(this, title_Handlers());
}

// The node arrives in CurrentItem, which holds it for the call; nothing else
// is done with it.
void CWebPage::WebNodes_ItemAdded(const CRefPtr<CWebNode>&, int32_t) {}
void CWebPage::WebNodes_ItemRemoved(const CRefPtr<CWebNode>&, int32_t) {}

void CWebPage::CWebPage_timeStampChanged(void*, CallbackCallReason) {
    CRefPtr<CWebContentClassifier> owner = WebContentClassifier->Lock();
    if (owner && owner->LatestTimeStamp < timeStamp.value()) owner->LatestTimeStamp = timeStamp.value();
}

// Subscribed for _Changed alone.
void CWebPage::CWebPage_timeStampChanging(void*, CallbackCallReason) {}

// Trace only.
void CWebPage::CWebPage_tabIdChanging(void*, CallbackCallReason) {
    if (tabId.value() != 0xFFFFFFFFu) {
        QV_TRACE_SCOPE(L"CWebPage::tabId_Changing", std::to_wstring(tabId.value()));
    }
}

void CWebPage::CWebPage_tabIdChanged(void*, CallbackCallReason) {
    if (tabId.value() != 0xFFFFFFFFu) {
        QV_TRACE_SCOPE(L"CWebPage::tabId_Changed", std::to_wstring(tabId.value()));
    }
}

// The trace-only handlers of a text property: a scope with the value, when
// there is one.
#define QV_WEB_PAGE_TRACE_TEXT(P)                                                \
    void CWebPage::CWebPage_##P##Changing(void*, CallbackCallReason) {           \
        if (!P->empty()) {                                                       \
            QV_TRACE_SCOPE(L"CWebPage::" #P "_Changing", Utf8ToWide(P.value())); \
        }                                                                        \
    }                                                                            \
    void CWebPage::CWebPage_##P##Changed(void*, CallbackCallReason) {            \
        if (!P->empty()) {                                                       \
            QV_TRACE_SCOPE(L"CWebPage::" #P "_Changed", Utf8ToWide(P.value()));  \
        }                                                                        \
    }

QV_WEB_PAGE_TRACE_TEXT(urlScheme)
QV_WEB_PAGE_TRACE_TEXT(urlUserinfo)
QV_WEB_PAGE_TRACE_TEXT(urlPort)
QV_WEB_PAGE_TRACE_TEXT(urlPath)
QV_WEB_PAGE_TRACE_TEXT(urlQuery)
QV_WEB_PAGE_TRACE_TEXT(urlFragment)
QV_WEB_PAGE_TRACE_TEXT(title)

#undef QV_WEB_PAGE_TRACE_TEXT

// Stage 6: the address. Only a page with one can be audible, and a
// navigation takes the page out of AudibleWebPages and back in.
void CWebPage::CWebPage_urlChanged(void*, CallbackCallReason) {
    if (url->empty()) return;
    QV_TRACE_SCOPE(L"CWebPage::url_Changed", Utf8ToWide(url.value()));
    if (std::optional<UrlParts> parts = DecomposeUrl(url.value())) {
        urlScheme.set(parts->scheme);
        urlUserinfo.set(parts->userinfo);
        urlHost.set(parts->host);
        urlPort.set(parts->port);
        urlPath.set(parts->path);
        urlQuery.set(parts->query);
        urlFragment.set(parts->fragment);
    }
    PlayingMediaElements.Subscribe(this, PlayingMediaElements_CollectionHandlers());
    IsAudible.Subscribe(this, IsAudible_Handlers());
}

void CWebPage::CWebPage_urlChanging(void*, CallbackCallReason) {
    if (url->empty()) return;
    QV_TRACE_SCOPE(L"CWebPage::url_Changing", Utf8ToWide(url.value()));
    PlayingMediaElements.Unsubscribe(this, PlayingMediaElements_CollectionHandlers());
    IsAudible.Unsubscribe(this, IsAudible_Handlers());
    urlScheme.set(std::string());
    urlUserinfo.set(std::string());
    urlHost.set(std::string());
    urlPort.set(std::string());
    urlPath.set(std::string());
    urlQuery.set(std::string());
    urlFragment.set(std::string());
}

// Stage 7. The test on removal is on the count after it, which the replay
// of an unsubscription relies on: it hands over every element with all of
// them still in place, and HasAudibleElements goes false when one is left.
// The browser's own audible flag covers the case that this leaves true.
void CWebPage::PlayingMediaElements_ItemAdded(const CRefPtr<CWebMediaElement>& element, int32_t) {
    element->playing.Subscribe(this, elementPlaying_Handlers());
    HasAudibleElements.set(true);
}

void CWebPage::PlayingMediaElements_ItemRemoved(const CRefPtr<CWebMediaElement>& element, int32_t) {
    if (PlayingMediaElements.size() == 1) HasAudibleElements.set(false);
    element->playing.Unsubscribe(this, elementPlaying_Handlers());
}

void CWebPage::CWebPage_elementPlayingChanging(void* sender, CallbackCallReason) {
    if (static_cast<CWebMediaElement*>(sender)->playing.value()) {
        QV_TRACE_SCOPE(L"CWebPage::elementPlaying_Changing");
    }
}

void CWebPage::CWebPage_elementPlayingChanged(void* sender, CallbackCallReason) {
    if (static_cast<CWebMediaElement*>(sender)->playing.value()) {
        QV_TRACE_SCOPE(L"CWebPage::elementPlaying_Changed");
    }
}

// Stage 8.
void CWebPage::UpdateIsAudible() {
    if (!WebContentClassifier->Lock()) return;
    IsAudible.set(muted.value() || !audible.value() ? false : HasAudibleElements.value());
}

void CWebPage::CWebPage_audibleChanged(void*, CallbackCallReason) { UpdateIsAudible(); }
void CWebPage::CWebPage_mutedChanged(void*, CallbackCallReason) { UpdateIsAudible(); }
void CWebPage::CWebPage_HasAudibleElementsChanged(void*, CallbackCallReason) { UpdateIsAudible(); }
// The three are subscribed for _Changed alone.
void CWebPage::CWebPage_audibleChanging(void*, CallbackCallReason) {}
void CWebPage::CWebPage_mutedChanging(void*, CallbackCallReason) {}
void CWebPage::CWebPage_HasAudibleElementsChanging(void*, CallbackCallReason) {}

void CWebPage::CWebPage_IsAudibleChanged(void*, CallbackCallReason) {
    if (!IsAudible.value()) return;
    QV_TRACE_SCOPE(L"CWebPage::IsAudible_Changed");
    if (CRefPtr<CWebContentClassifier> owner = WebContentClassifier->Lock()) owner->AudibleWebPages.Add(this);
}

void CWebPage::CWebPage_IsAudibleChanging(void*, CallbackCallReason) {
    if (!IsAudible.value()) return;
    QV_TRACE_SCOPE(L"CWebPage::IsAudible_Changing");
    if (CRefPtr<CWebContentClassifier> owner = WebContentClassifier->Lock()) owner->AudibleWebPages.Remove(this);
}

// Stage 9: on the video site, an audible watch page names its video.
void CWebPage::CWebPage_urlHostChanged(void*, CallbackCallReason) {
    if (urlHost->empty()) return;
    QV_TRACE_SCOPE(L"CWebPage::urlHost_Changed", Utf8ToWide(urlHost.value()));
    if (!IsVideoSiteHost(urlHost.value())) return;
    isYoutube.set(true);
    IsAudible.Subscribe(this, youtubeIsAudible_Handlers());
}

void CWebPage::CWebPage_urlHostChanging(void*, CallbackCallReason) {
    if (urlHost->empty()) return;
    QV_TRACE_SCOPE(L"CWebPage::urlHost_Changing", Utf8ToWide(urlHost.value()));
    if (!IsVideoSiteHost(urlHost.value())) return;
    IsAudible.Unsubscribe(this, youtubeIsAudible_Handlers());
    isYoutube.set(false);
}

void CWebPage::CWebPage_youtubeIsAudibleChanged(void*, CallbackCallReason) {
    if (!IsAudible.value()) return;
    QV_TRACE_SCOPE(L"CWebPage::IsAudible_Changed");
    urlQuery.Subscribe(this, youtubeUrlQuery_Handlers());
}

void CWebPage::CWebPage_youtubeIsAudibleChanging(void*, CallbackCallReason) {
    if (!IsAudible.value()) return;
    QV_TRACE_SCOPE(L"CWebPage::IsAudible_Changing");
    urlQuery.Unsubscribe(this, youtubeUrlQuery_Handlers());
}

void CWebPage::CWebPage_youtubeUrlQueryChanged(void*, CallbackCallReason) {
    if (urlQuery->empty()) return;
    QV_TRACE_SCOPE(L"CWebPage::urlQuery_Changed", Utf8ToWide(urlQuery.value()));
    std::optional<std::string> videoId = VideoIdOfQuery(urlQuery.value());
    if (!videoId) return;
    youtubeVideoId.set(*videoId);
    PlayingVideoElements.Subscribe(this, PlayingVideoElements_CollectionHandlers());
    HasYoutubeAudibleVideoElements.Subscribe(this, HasYoutubeAudibleVideoElements_Handlers());
}

void CWebPage::CWebPage_youtubeUrlQueryChanging(void*, CallbackCallReason) {
    if (urlQuery->empty()) return;
    QV_TRACE_SCOPE(L"CWebPage::urlQuery_Changing", Utf8ToWide(urlQuery.value()));
    if (!VideoIdOfQuery(urlQuery.value())) return;
    PlayingVideoElements.Unsubscribe(this, PlayingVideoElements_CollectionHandlers());
    HasYoutubeAudibleVideoElements.Unsubscribe(this, HasYoutubeAudibleVideoElements_Handlers());
    youtubeVideoId.set(std::string());
}

// Stage 10: a playing video of known length is the one watched.
void CWebPage::PlayingVideoElements_ItemAdded(const CRefPtr<CWebVideoElement>& element, int32_t) {
    element->playing.Subscribe(this, videoElementPlaying_Handlers());
}

void CWebPage::PlayingVideoElements_ItemRemoved(const CRefPtr<CWebVideoElement>& element, int32_t) {
    element->playing.Unsubscribe(this, videoElementPlaying_Handlers());
}

void CWebPage::CWebPage_videoElementPlayingChanged(void* sender, CallbackCallReason) {
    auto* element = static_cast<CWebMediaElement*>(sender);
    if (!element->playing.value()) return;
    QV_TRACE_SCOPE(L"CWebPage::elementPlaying_Changed");
    element->duration.Subscribe(this, elementDuration_Handlers());
}

void CWebPage::CWebPage_videoElementPlayingChanging(void* sender, CallbackCallReason) {
    auto* element = static_cast<CWebMediaElement*>(sender);
    if (!element->playing.value()) return;
    QV_TRACE_SCOPE(L"CWebPage::elementPlaying_Changing");
    element->duration.Unsubscribe(this, elementDuration_Handlers());
}

// NaN, the browser's word for an unknown length, counts as known here.
void CWebPage::CWebPage_elementDurationChanged(void* sender, CallbackCallReason) {
    if (static_cast<CWebMediaElement*>(sender)->duration.value() == 0.0f) return;
    QV_TRACE_SCOPE(L"CWebPage::elementDuration_Changed");
    HasYoutubeAudibleVideoElements.set(true);
}

// Another playing video of known length keeps the metadata's wiring up.
void CWebPage::CWebPage_elementDurationChanging(void* sender, CallbackCallReason) {
    auto* element = static_cast<CWebMediaElement*>(sender);
    if (element->duration.value() == 0.0f) return;
    QV_TRACE_SCOPE(L"CWebPage::elementDuration_Changing");
    HasYoutubeAudibleVideoElements.set(false);
    for (const CRefPtr<CWebVideoElement>& other : PlayingVideoElements) {
        if (other.get() == element || !other->playing.value() || other->duration.value() == 0.0f) continue;
        HasYoutubeAudibleVideoElements.set(true);
        break;
    }
}

// The video metadata's handlers hang here.
void CWebPage::CWebPage_HasYoutubeAudibleVideoElementsChanged(void*, CallbackCallReason) {
    if (!HasYoutubeAudibleVideoElements.value()) return;
    QV_TRACE_SCOPE(L"CWebPage::HasYoutubeAudibleVideoElements_Changed");
    extractYoutubeMetaFromHtmlPage.Subscribe(this, extractYoutubeMetaFromHtmlPage_Handlers());
    extractYoutubeMetaFromVideoId.Subscribe(this, extractYoutubeMetaFromVideoId_Handlers());
    extractYoutubeMetaFromScript.Subscribe(this, extractYoutubeMetaFromScript_Handlers());
    youtubeVideoInfo.Subscribe(this, youtubeVideoInfo_Handlers());
}

void CWebPage::CWebPage_HasYoutubeAudibleVideoElementsChanging(void*, CallbackCallReason) {
    if (!HasYoutubeAudibleVideoElements.value()) return;
    QV_TRACE_SCOPE(L"CWebPage::HasYoutubeAudibleVideoElements_Changing");
    extractYoutubeMetaFromHtmlPage.Unsubscribe(this, extractYoutubeMetaFromHtmlPage_Handlers());
    extractYoutubeMetaFromVideoId.Unsubscribe(this, extractYoutubeMetaFromVideoId_Handlers());
    extractYoutubeMetaFromScript.Unsubscribe(this, extractYoutubeMetaFromScript_Handlers());
    youtubeVideoInfo.Unsubscribe(this, youtubeVideoInfo_Handlers());
}

// Disposal: the page is removed from Objects by a posted action, as the
// removal may destroy the page and this handler runs inside one of its
// property sets. The action holds page and owner until it has run.
void CWebPage::CWebPage_disposedChanged(void*, CallbackCallReason) {
    if (!disposed.value()) return;
    CRefPtr<CWebContentClassifier> owner = WebContentClassifier->Lock();
    if (!owner) return;
    if (CWebPageClassifier* classifier = WebPageClassifier->get())
        classifier->Classification.set(CClassification{CategoryUndefined, 0.0f, 0, SourceNobody, false});
    CRefPtr<CWebPage> page(this);
    CAsyncAction::Post(Dispatcher(), [page, owner](const CRefPtr<CAsyncAction>&) { owner->Objects.Remove(page->Id); });
}

// Subscribed for _Changed alone.
void CWebPage::CWebPage_disposedChanging(void*, CallbackCallReason) {}

}  // namespace qv
