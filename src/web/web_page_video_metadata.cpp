// The video's metadata on a watch page of the video site: the page's own
// script, its watch page as served, or the site's video information give the
// text; plain search in it gives a CYoutubeVideoInfo, and the one in force
// gives the page its audio format and category.
#include <algorithm>
#include <optional>
#include <string_view>

#include "core/async.h"
#include "core/text.h"
#include "web/video_site_fetch.h"
#include "web/video_site_text.h"
#include "web/web_content_classifier.h"
#include "web/web_page.h"
#include "web/youtube_categories.h"

namespace qv {

namespace {

// What the site's player configuration begins with in the page's script.
constexpr std::string_view kPlayerConfigMarker = "var ytplayer = ytplayer || {};ytplayer.config = ";

// The query that asks the site for its plain HTML5 page of the video.
constexpr const wchar_t* kVideoQuerySuffix = L"&hl=en_US&html5=1&el=embedded";

}  // namespace

// The watch page as served, fetched on a worker thread of its own. The
// worker touches no model object and holds none: the page weakly, the
// dispatcher, the path, and the action, whose function holds the same. Its
// text comes back in an action that shares the first one's cancellation,
// so a cancel stops the fetch and the delivery alike.
void CWebPage::CWebPage_extractYoutubeMetaFromHtmlPageChanged(void*, CallbackCallReason) {
    if (!extractYoutubeMetaFromHtmlPage.value()) return;
    const std::wstring path = L"/watch?v=" + Utf8ToWide(youtubeVideoId.value()) + kVideoQuerySuffix;
    if (WebContentClassifier->Lock()) {
        PendingHtmlFetch = CAsyncAction::Post(
            Dispatcher(),
            [page = CWeakRefPtr<CWebPage>(this), dispatcher = Dispatcher(), path](const CRefPtr<CAsyncAction>& action) {
                CThread::Start([page, dispatcher, path, action](std::stop_token stop) {
                    const CRefPtr<CAsyncActionCancellation> cancellation = action->GetCancellation();
                    std::wstring text;
                    const auto cancelled = [&] { return cancellation->Cancelled.load() || stop.stop_requested(); };
                    if (FetchVideoSiteText(path, text, cancelled) != 0) return;
                    CAsyncAction::Post(
                        dispatcher,
                        [page, utf8 = WideToUtf8(text)](const CRefPtr<CAsyncAction>&) {
                            if (CRefPtr<CWebPage> live = page.Lock())
                                live->receivedYoutubeVideoRawInfoFromHtmlPage.set(utf8);
                        },
                        cancellation);
                });
            });
    }
    receivedYoutubeVideoRawInfoFromHtmlPage.Subscribe(this, receivedYoutubeVideoRawInfoFromHtmlPage_Handlers());
}

void CWebPage::CWebPage_extractYoutubeMetaFromHtmlPageChanging(void*, CallbackCallReason) {
    if (!extractYoutubeMetaFromHtmlPage.value()) return;
    CancelPending(PendingHtmlFetch);
    receivedYoutubeVideoRawInfoFromHtmlPage.Unsubscribe(this, receivedYoutubeVideoRawInfoFromHtmlPage_Handlers());
    receivedYoutubeVideoRawInfoFromHtmlPage.set(std::string());
}

void CWebPage::CWebPage_receivedYoutubeVideoRawInfoFromHtmlPageChanged(void*, CallbackCallReason) {
    if (receivedYoutubeVideoRawInfoFromHtmlPage->empty()) return;
    youtubeVideoRawInfoFromHtmlPage.set(
        UnescapeVideoSiteText(Utf8ToWide(receivedYoutubeVideoRawInfoFromHtmlPage.value())));
    youtubeVideoInfoFromHtmlPage.set(CYoutubeVideoInfo::FromText(youtubeVideoRawInfoFromHtmlPage.value(), 0));
    youtubeVideoInfo.set(youtubeVideoInfoFromHtmlPage.value());
}

void CWebPage::CWebPage_receivedYoutubeVideoRawInfoFromHtmlPageChanging(void*, CallbackCallReason) {
    if (receivedYoutubeVideoRawInfoFromHtmlPage->empty()) return;
    youtubeVideoInfo.set(nullptr);
    youtubeVideoInfoFromHtmlPage.set(nullptr);
    youtubeVideoRawInfoFromHtmlPage.set(std::wstring());
}

// The site's video information, asked on the main thread, which waits for
// the whole fetch. Only a sender that sets the flag itself gets here.
void CWebPage::CWebPage_extractYoutubeMetaFromVideoIdChanged(void*, CallbackCallReason) {
    if (!extractYoutubeMetaFromVideoId.value()) return;
    const std::wstring path = L"/get_video_info?video_id=" + Utf8ToWide(youtubeVideoId.value()) + kVideoQuerySuffix;
    std::wstring text;
    if (FetchVideoSiteText(path, text, [] { return false; }) == 0)
        receivedYoutubeVideoRawInfoFromVideoId.set(WideToUtf8(text));
    receivedYoutubeVideoRawInfoFromVideoId.Subscribe(this, receivedYoutubeVideoRawInfoFromVideoId_Handlers());
}

void CWebPage::CWebPage_extractYoutubeMetaFromVideoIdChanging(void*, CallbackCallReason) {
    if (!extractYoutubeMetaFromVideoId.value()) return;
    receivedYoutubeVideoRawInfoFromVideoId.Unsubscribe(this, receivedYoutubeVideoRawInfoFromVideoId_Handlers());
    receivedYoutubeVideoRawInfoFromVideoId.set(std::string());
}

// The answer is a form-encoded query: percent escapes and '+' for blanks.
// One that does not decode gives nothing.
void CWebPage::CWebPage_receivedYoutubeVideoRawInfoFromVideoIdChanged(void*, CallbackCallReason) {
    if (receivedYoutubeVideoRawInfoFromVideoId->empty()) return;
    std::optional<std::wstring> decoded = PercentDecode(Utf8ToWide(receivedYoutubeVideoRawInfoFromVideoId.value()));
    if (!decoded) return;
    std::replace(decoded->begin(), decoded->end(), L'+', L' ');
    youtubeVideoRawInfoFromVideoId.set(std::move(*decoded));
    youtubeVideoInfoFromVideoId.set(CYoutubeVideoInfo::FromText(youtubeVideoRawInfoFromVideoId.value(), 0));
    youtubeVideoInfo.set(youtubeVideoInfoFromVideoId.value());
}

void CWebPage::CWebPage_receivedYoutubeVideoRawInfoFromVideoIdChanging(void*, CallbackCallReason) {
    if (receivedYoutubeVideoRawInfoFromVideoId->empty()) return;
    youtubeVideoInfo.set(nullptr);
    youtubeVideoInfoFromVideoId.set(nullptr);
    youtubeVideoRawInfoFromVideoId.set(std::wstring());
}

// The script: the added handler is replayed for each node there now, and the
// removed one for each node on the way out.
void CWebPage::CWebPage_extractYoutubeMetaFromScriptChanged(void*, CallbackCallReason) {
    if (extractYoutubeMetaFromScript.value()) ScriptNodes.Subscribe(this, ScriptNodes_CollectionHandlers());
}

void CWebPage::CWebPage_extractYoutubeMetaFromScriptChanging(void*, CallbackCallReason) {
    if (extractYoutubeMetaFromScript.value()) ScriptNodes.Unsubscribe(this, ScriptNodes_CollectionHandlers());
}

// The text is read as the node enters: the add-on sends it in a change
// before the one that names the page. The marker's offset is one in bytes,
// used on the unescaped wide text, which is never longer: the search may
// begin a little behind the marker, while the keys stand far behind it.
void CWebPage::ScriptNodes_ItemAdded(const CRefPtr<CWebScriptNode>& node, int32_t) {
    const std::string& text = node->text.value();
    if (text.empty()) return;
    const std::size_t start = text.find(kPlayerConfigMarker);
    if (start == std::string::npos) return;
    // The configuration must be the one of the video in the page's address,
    // not of one the page had before.
    const std::wstring wide = Utf8ToWide(text);
    if (wide.find(L"\\\\u0026docid=" + Utf8ToWide(youtubeVideoId.value())) == std::wstring::npos) return;
    youtubeVideoRawInfoFromScript.set(UnescapeVideoSiteText(wide));
    youtubeVideoInfoFromScript.set(CYoutubeVideoInfo::FromText(youtubeVideoRawInfoFromScript.value(), start));
    youtubeVideoInfo.set(youtubeVideoInfoFromScript.value());
}

// Any script node with text takes the script's result away, whichever node
// gave it.
void CWebPage::ScriptNodes_ItemRemoved(const CRefPtr<CWebScriptNode>& node, int32_t) {
    if (node->text->empty()) return;
    youtubeVideoInfo.set(nullptr);
    youtubeVideoInfoFromScript.set(nullptr);
    youtubeVideoRawInfoFromScript.set(std::wstring());
}

// The result in force. The category stays when the result goes: the page
// keeps the last category known until a new name arrives.
void CWebPage::CWebPage_youtubeVideoInfoChanged(void*, CallbackCallReason) {
    const CRefPtr<CYoutubeVideoInfo> info = youtubeVideoInfo.value();
    if (!info) return;
    const double seconds = info->ApproxDurationMs / 1000.0;
    AudioStreamBasicInfo.set(MakeRef<CAudioStreamBasicInfo>(info->AudioChannels, info->AudioSampleRate, 16u, seconds));
    if (CRefPtr<CWebContentClassifier> owner = WebContentClassifier->Lock()) {
        if (owner->Log())
            owner->Log()->VideoSite.Set(
                {seconds, info->AudioSampleRate / 1000.0, static_cast<int32_t>(info->AudioChannels)});
        if (!info->CategoryName.empty())
            owner->LogLine("{" + FormatWebObjectId(Id) + "} >>> Youtube category = " + WideToUtf8(info->CategoryName));
    }
    const auto found = YoutubeCategoryIds().find(info->CategoryName);
    if (found != YoutubeCategoryIds().end()) youtubeCategoryId.set(found->second);
}

void CWebPage::CWebPage_youtubeVideoInfoChanging(void*, CallbackCallReason) {
    if (youtubeVideoInfo.value()) AudioStreamBasicInfo.set(nullptr);
}

}  // namespace qv
