#include "web/web_page_classifier.h"

#include "core/text.h"
#include "shell/entry.h"
#include "web/web_content_classifier.h"
#include "web/web_host_rules.h"
#include "web/web_page.h"

namespace qv {

namespace {

int32_t CategoryPriority(int32_t category) {
    switch (category) {
        case CategoryMusic: return 20;
        case CategoryMovie: return 10;
        case CategoryVoice: return 30;
        default: return 0;
    }
}

// The handlers on a page's properties get the page as sender; it may be on
// its way out, when the weak WebPage no longer answers.
CWebPage& PageOf(void* sender) { return *static_cast<CWebPage*>(sender); }

}  // namespace

CWebPageClassifier::CWebPageClassifier(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                       const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                       const CRefPtr<CContentClassifierLog>& log)
    : CCommonBase(traceTarget, dispatcher, log) {
    WebContentClassifier.Subscribe(this, WebContentClassifier_Handlers());
}

CWebPageClassifier::~CWebPageClassifier() { WebContentClassifier.Unsubscribe(this, WebContentClassifier_Handlers()); }

// 1.
void CWebPageClassifier::CWebPageClassifier_WebContentClassifierChanged(void*, CallbackCallReason) {
    if (!WebContentClassifier->empty()) WebPage.Subscribe(this, WebPage_Handlers());
}

// Taken down through the table's handler, which was never subscribed: the
// unsubscription calls its _Changing once. Without a table the page stays
// watched; the page is the one that lets this classifier go, on its own way
// out, and changes none of the watched values after that.
void CWebPageClassifier::CWebPageClassifier_WebContentClassifierChanging(void*, CallbackCallReason) {
    if (!WebContentClassifier->empty())
        YoutubeCategoryClassifications.Unsubscribe(this, YoutubeCategoryClassifications_Handlers());
}

void CWebPageClassifier::CWebPageClassifier_YoutubeCategoryClassificationsChanging(void*, CallbackCallReason) {
    if (YoutubeCategoryClassifications.value()) WebPage.Unsubscribe(this, WebPage_Handlers());
}

// Never subscribed; the pair is there for the tear-down above.
void CWebPageClassifier::CWebPageClassifier_YoutubeCategoryClassificationsChanged(void*, CallbackCallReason) {}

// 2.
void CWebPageClassifier::CWebPageClassifier_WebPageChanged(void*, CallbackCallReason) {
    CRefPtr<CWebPage> page = WebPage->Lock();
    if (!page) return;
    page->extensionId.Subscribe(this, extensionId_Handlers());
    page->urlHost.Subscribe(this, urlHost_Handlers());
}

void CWebPageClassifier::CWebPageClassifier_WebPageChanging(void*, CallbackCallReason) {
    CRefPtr<CWebPage> page = WebPage->Lock();
    if (!page) return;
    page->extensionId.Unsubscribe(this, extensionId_Handlers());
    page->urlHost.Unsubscribe(this, urlHost_Handlers());
}

// 3.
void CWebPageClassifier::CWebPageClassifier_extensionIdChanged(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (!page.extensionId->empty()) page.extensionVersion.Subscribe(this, extensionVersion_Handlers());
}

void CWebPageClassifier::CWebPageClassifier_extensionIdChanging(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (!page.extensionId->empty()) page.extensionVersion.Unsubscribe(this, extensionVersion_Handlers());
}

// 4: only the add-ons that the native host admits get the category table.
void CWebPageClassifier::CWebPageClassifier_extensionVersionChanged(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (page.extensionVersion->empty()) return;
    if (AllowedExtensionIds().contains(page.extensionId.value()))
        YoutubeCategoryClassifications.set(MakeRef<CYoutubeCategoryClassifications_ZK>());
}

void CWebPageClassifier::CWebPageClassifier_extensionVersionChanging(void* sender, CallbackCallReason) {
    if (!PageOf(sender).extensionVersion->empty()) YoutubeCategoryClassifications.set(nullptr);
}

// 5.
void CWebPageClassifier::CWebPageClassifier_urlHostChanged(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (!page.urlHost->empty()) page.IsAudible.Subscribe(this, IsAudible_Handlers());
}

void CWebPageClassifier::CWebPageClassifier_urlHostChanging(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (!page.urlHost->empty()) page.IsAudible.Unsubscribe(this, IsAudible_Handlers());
}

// 6.
void CWebPageClassifier::CWebPageClassifier_IsAudibleChanged(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (page.IsAudible.value()) ClassifyByHost(page);
}

// A host rule's value holds only while the page sounds; without a rule the
// video site's watch is taken down.
void CWebPageClassifier::CWebPageClassifier_IsAudibleChanging(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (!page.IsAudible.value()) return;
    if (FindWebHostRule(page.urlHost.value()))
        Classification.set(CClassification{});
    else
        page.isYoutube.Unsubscribe(this, isYoutube_Handlers());
}

// A host rule settles the page; the video site is asked only without one.
void CWebPageClassifier::ClassifyByHost(CWebPage& page) {
    if (CRefPtr<CWebContentClassifier> owner = WebContentClassifier->Lock()) {
        if (const CRefPtr<CContentClassifierLog>& log = owner->Log()) {
            log->MediaFile.Clear();
            log->Url.Set(TextFields{Utf8ToWide(page.url.value())});
        }
    }
    Trace(L"Url host name: %s\n", Utf8ToWide(page.urlHost.value()));
    if (std::optional<WebHostRule> rule = FindWebHostRule(page.urlHost.value())) {
        Trace(L"Classification: %s\n", std::wstring(rule->name));
        Classification.set(rule->classification);
        return;
    }
    page.isYoutube.Subscribe(this, isYoutube_Handlers());
}

// 7.
void CWebPageClassifier::CWebPageClassifier_isYoutubeChanged(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (!page.isYoutube.value()) return;
    page.IsVideo.set(true);
    page.youtubeVideoInfo.Subscribe(this, youtubeVideoInfo_Handlers());
}

void CWebPageClassifier::CWebPageClassifier_isYoutubeChanging(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (!page.isYoutube.value()) return;
    page.youtubeVideoInfo.Unsubscribe(this, youtubeVideoInfo_Handlers());
    page.IsVideo.set(false);
}

// 8.
void CWebPageClassifier::CWebPageClassifier_youtubeVideoInfoChanged(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (page.youtubeVideoInfo.value()) page.youtubeCategoryId.Subscribe(this, youtubeCategoryId_Handlers());
}

void CWebPageClassifier::CWebPageClassifier_youtubeVideoInfoChanging(void* sender, CallbackCallReason) {
    CWebPage& page = PageOf(sender);
    if (page.youtubeVideoInfo.value()) page.youtubeCategoryId.Unsubscribe(this, youtubeCategoryId_Handlers());
}

// 9.
void CWebPageClassifier::CWebPageClassifier_youtubeCategoryIdChanging(void*, CallbackCallReason) {
    Classification.set(CClassification{});
}

// 10.
void CWebPageClassifier::CWebPageClassifier_youtubeCategoryIdChanged(void* sender, CallbackCallReason) {
    ClassifyByCategory(PageOf(sender));
}

void CWebPageClassifier::ClassifyByCategory(CWebPage& page) {
    const int32_t number = page.youtubeCategoryId.value();
    // Metadata without a known category: a video is taken for a film.
    if (number == -1) {
        Classification.set(CClassification{CategoryMovie, 1.0f, 10, SourceWebPage, false});
        return;
    }
    const auto& names = YoutubeCategoryNames();
    auto name = names.find(number);
    if (name == names.end()) return;
    CRefPtr<CWebContentClassifier> owner = WebContentClassifier->Lock();
    if (!owner) {
        if (Log()) Log()->Category.Set(CategoryFields{number, L"(Unknown)"});
        return;
    }
    if (owner->Log()) owner->Log()->Category.Set(CategoryFields{number, name->second});
    // Only an add-on outside the allowed ones leaves the page without a
    // table; whatever the page had stays then.
    CYoutubeCategoryClassifications* table = YoutubeCategoryClassifications->get();
    if (!table) return;
    const YoutubeCategoryClassification& entry = table->Table[name->second];
    Classification.set(
        CClassification{entry.Category, entry.Confidence, CategoryPriority(entry.Category), SourceWebPage, false});
}

}  // namespace qv
