// One browser tab's document as the browser add-on reports it. The add-on
// sets a dozen properties by name; the page derives the rest: the parts of
// its address, whether it really is audible, whether it is a watch page of
// the video site that plays something. Each stage subscribes the next once
// its input is there, so the chain builds itself when a value arrives and
// takes itself down, in reverse, when the value goes.
//
// The content classifier matches an audible page to a browser's audio
// session by the browser's process id.
#pragma once

#include <cstdint>
#include <string>

#include "sessions/audio_stream_basic_info.h"
#include "web/web_audio_element.h"
#include "web/web_classification_object.h"
#include "web/web_page_classifier.h"
#include "web/web_script_node.h"
#include "web/web_video_element.h"
#include "web/youtube_video_info.h"

namespace qv {

class CWebPage : public CWebClassificationObject {
public:
    using NodeCollection = observable_collection<CWebPage, CRefPtr<CWebNode>>;
    using MediaElementCollection = observable_collection<CWebPage, CRefPtr<CWebMediaElement>>;
    using VideoElementCollection = observable_collection<CWebPage, CRefPtr<CWebVideoElement>>;
    using AudioElementCollection = observable_collection<CWebPage, CRefPtr<CWebAudioElement>>;
    using ScriptNodeCollection = observable_collection<CWebPage, CRefPtr<CWebScriptNode>>;

    // The version an add-on has that reported none: 1.0, which means script
    // extraction alone.
    static constexpr uint32_t kFirstExtensionVersion = 0x1000000;

    CWebPage(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
             const CRefPtr<CContentClassifierLog>& log, const WebObjectId& id);

    // The names are the protocol's: the add-on sets a property by its name.
    observable_property<CWebPage, CRefPtr<CWebPageClassifier>> WebPageClassifier{this, "WebPageClassifier"};
    observable_property<CWebPage, std::string> browser{this, "browser"};
    observable_property<CWebPage, bool> disposed{this, "disposed"};
    // A page that nothing has been reported for counts as one of the first
    // add-on at version 1.0; this default keeps the wiring alive for a page
    // that a node's pageId made.
    observable_property<CWebPage, std::string> extensionId{this, "extensionId", "aabbccddeeffgghhiijjkkllmmnnoopp"};
    observable_property<CWebPage, std::string> extensionVersion{this, "extensionVersion", "1.0"};
    // The version in four bytes, major first.
    observable_property<CWebPage, uint32_t> extensionVersionNumber{this, "extensionVersionNumber"};
    observable_property<CWebPage, uint32_t> tabId{this, "tabId", 0xFFFFFFFFu};
    observable_property<CWebPage, std::string> url{this, "url"};
    observable_property<CWebPage, std::string> urlScheme{this, "urlScheme"};
    observable_property<CWebPage, std::string> urlUserinfo{this, "urlUserinfo"};
    observable_property<CWebPage, std::string> urlHost{this, "urlHost"};
    observable_property<CWebPage, std::string> urlPort{this, "urlPort"};
    observable_property<CWebPage, std::string> urlPath{this, "urlPath"};
    observable_property<CWebPage, std::string> urlQuery{this, "urlQuery"};
    observable_property<CWebPage, std::string> urlFragment{this, "urlFragment"};
    observable_property<CWebPage, std::string> title{this, "title"};
    // The browser's flags of the tab.
    observable_property<CWebPage, bool> audible{this, "audible"};
    observable_property<CWebPage, bool> muted{this, "muted"};
    observable_property<CWebPage, uint32_t> timeStamp{this, "timeStamp"};
    // Audible by the browser, not muted, and with a playing element.
    observable_property<CWebPage, bool> IsAudible{this, "IsAudible"};
    observable_property<CWebPage, bool> HasAudibleElements{this, "HasAudibleElements"};
    // A video of known length plays on a watch page of the video site.
    observable_property<CWebPage, bool> HasYoutubeAudibleVideoElements{this, "HasYoutubeAudibleVideoElements"};
    observable_property<CWebPage, bool> isYoutube{this, "isYoutube"};
    // The "v" value of a watch page's query.
    observable_property<CWebPage, std::string> youtubeVideoId{this, "youtubeVideoId"};
    // Where the video's metadata may be taken from; the add-on's version
    // decides.
    observable_property<CWebPage, bool> extractYoutubeMetaFromScript{this, "extractYoutubeMetaFromScript"};
    observable_property<CWebPage, bool> extractYoutubeMetaFromVideoId{this, "extractYoutubeMetaFromVideoId"};
    observable_property<CWebPage, bool> extractYoutubeMetaFromHtmlPage{this, "extractYoutubeMetaFromHtmlPage"};
    observable_property<CWebPage, std::string> receivedYoutubeVideoRawInfoFromVideoId{
        this, "receivedYoutubeVideoRawInfoFromVideoId"};
    observable_property<CWebPage, std::string> receivedYoutubeVideoRawInfoFromHtmlPage{
        this, "receivedYoutubeVideoRawInfoFromHtmlPage"};
    observable_property<CWebPage, std::wstring> youtubeVideoRawInfoFromHtmlPage{this,
                                                                                "youtubeVideoRawInfoFromHtmlPage"};
    observable_property<CWebPage, std::wstring> youtubeVideoRawInfoFromVideoId{this, "youtubeVideoRawInfoFromVideoId"};
    observable_property<CWebPage, std::wstring> youtubeVideoRawInfoFromScript{this, "youtubeVideoRawInfoFromScript"};
    observable_property<CWebPage, CRefPtr<CYoutubeVideoInfo>> youtubeVideoInfoFromHtmlPage{
        this, "youtubeVideoInfoFromHtmlPage"};
    observable_property<CWebPage, CRefPtr<CYoutubeVideoInfo>> youtubeVideoInfoFromVideoId{
        this, "youtubeVideoInfoFromVideoId"};
    observable_property<CWebPage, CRefPtr<CYoutubeVideoInfo>> youtubeVideoInfoFromScript{this,
                                                                                         "youtubeVideoInfoFromScript"};
    // The metadata in force.
    observable_property<CWebPage, CRefPtr<CYoutubeVideoInfo>> youtubeVideoInfo{this, "youtubeVideoInfo"};
    observable_property<CWebPage, int32_t> youtubeCategoryId{this, "youtubeCategoryId", -1};
    observable_property<CWebPage, bool> IsVideo{this, "IsVideo"};
    observable_property<CWebPage, CRefPtr<CAudioStreamBasicInfo>> AudioStreamBasicInfo{this, "AudioStreamBasicInfo"};

    // The nodes file themselves in here by their WebPage link.
    NodeCollection WebNodes{this};
    MediaElementCollection MediaElements{this};
    VideoElementCollection VideoElements{this};
    AudioElementCollection AudioElements{this};
    MediaElementCollection PlayingMediaElements{this};
    VideoElementCollection PlayingVideoElements{this};
    AudioElementCollection PlayingAudioElements{this};
    ScriptNodeCollection ScriptNodes{this};

    // The fetch of the watch page that the metadata may have under way.
    CWeakRefPtr<CAsyncAction> PendingHtmlFetch;

protected:
    // Runs the tear-down of the whole chain through WebContentClassifier's
    // unsubscription, which also takes the page's nodes out of Objects.
    ~CWebPage() override;

private:
    // Audible, muted and the elements together decide IsAudible.
    void UpdateIsAudible();

    QV_PROPERTY_HANDLERS(CWebPage, WebContentClassifier)
    QV_PROPERTY_HANDLERS(CWebPage, WebPageClassifier)
    QV_PROPERTY_HOOKS(browser)
    QV_PROPERTY_HANDLERS(CWebPage, disposed)
    QV_PROPERTY_HANDLERS(CWebPage, extensionId)
    QV_PROPERTY_HANDLERS(CWebPage, extensionVersion)
    QV_PROPERTY_HANDLERS(CWebPage, extensionVersionNumber)
    QV_PROPERTY_HANDLERS(CWebPage, tabId)
    QV_PROPERTY_HANDLERS(CWebPage, url)
    QV_PROPERTY_HANDLERS(CWebPage, urlScheme)
    QV_PROPERTY_HANDLERS(CWebPage, urlUserinfo)
    QV_PROPERTY_HANDLERS(CWebPage, urlHost)
    QV_PROPERTY_HANDLERS(CWebPage, urlPort)
    QV_PROPERTY_HANDLERS(CWebPage, urlPath)
    QV_PROPERTY_HANDLERS(CWebPage, urlQuery)
    QV_PROPERTY_HANDLERS(CWebPage, urlFragment)
    QV_PROPERTY_HANDLERS(CWebPage, title)
    QV_PROPERTY_HANDLERS(CWebPage, audible)
    QV_PROPERTY_HANDLERS(CWebPage, muted)
    QV_PROPERTY_HANDLERS(CWebPage, timeStamp)
    QV_PROPERTY_HANDLERS(CWebPage, IsAudible)
    QV_PROPERTY_HANDLERS(CWebPage, HasAudibleElements)
    QV_PROPERTY_HANDLERS(CWebPage, HasYoutubeAudibleVideoElements)
    QV_PROPERTY_HOOKS(isYoutube)
    QV_PROPERTY_HOOKS(youtubeVideoId)
    QV_PROPERTY_HANDLERS(CWebPage, extractYoutubeMetaFromScript)
    QV_PROPERTY_HANDLERS(CWebPage, extractYoutubeMetaFromVideoId)
    QV_PROPERTY_HANDLERS(CWebPage, extractYoutubeMetaFromHtmlPage)
    QV_PROPERTY_HANDLERS(CWebPage, receivedYoutubeVideoRawInfoFromVideoId)
    QV_PROPERTY_HANDLERS(CWebPage, receivedYoutubeVideoRawInfoFromHtmlPage)
    QV_PROPERTY_HOOKS(youtubeVideoRawInfoFromHtmlPage)
    QV_PROPERTY_HOOKS(youtubeVideoRawInfoFromVideoId)
    QV_PROPERTY_HOOKS(youtubeVideoRawInfoFromScript)
    QV_PROPERTY_HOOKS(youtubeVideoInfoFromHtmlPage)
    QV_PROPERTY_HOOKS(youtubeVideoInfoFromVideoId)
    QV_PROPERTY_HOOKS(youtubeVideoInfoFromScript)
    QV_PROPERTY_HANDLERS(CWebPage, youtubeVideoInfo)
    QV_PROPERTY_HOOKS(youtubeCategoryId)
    QV_PROPERTY_HOOKS(IsVideo)
    QV_PROPERTY_HOOKS(AudioStreamBasicInfo)
    // The video site's pairs: a second watch on IsAudible and on urlQuery.
    QV_PROPERTY_HANDLERS(CWebPage, youtubeIsAudible)
    QV_PROPERTY_HANDLERS(CWebPage, youtubeUrlQuery)
    // The elements' events.
    QV_PROPERTY_HANDLERS(CWebPage, elementPlaying)
    QV_PROPERTY_HANDLERS(CWebPage, videoElementPlaying)
    QV_PROPERTY_HANDLERS(CWebPage, elementDuration)
    QV_COLLECTION_HANDLERS(CWebPage, NodeCollection, WebNodes)
    QV_COLLECTION_HANDLERS(CWebPage, MediaElementCollection, PlayingMediaElements)
    QV_COLLECTION_HANDLERS(CWebPage, VideoElementCollection, PlayingVideoElements)
    // The video metadata (web_page_video_metadata.cpp).
    QV_COLLECTION_HANDLERS(CWebPage, ScriptNodeCollection, ScriptNodes)
};

}  // namespace qv
