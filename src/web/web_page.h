// One browser tab's document as the browser add-on reports it. The content
// classifier matches an audible page to a browser's audio session by the
// browser's process id.
#pragma once

#include <cstdint>

#include "sessions/audio_stream_basic_info.h"
#include "web/web_classification_object.h"
#include "web/web_page_classifier.h"

namespace qv {

class CWebPage : public CWebClassificationObject {
public:
    CWebPage(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
             const CRefPtr<CContentClassifierLog>& log, const WebObjectId& id)
        : CWebClassificationObject(traceTarget, dispatcher, log, "web-page", id) {}

    observable_property<CWebPage, CRefPtr<CWebPageClassifier>> WebPageClassifier{this, "WebPageClassifier"};
    observable_property<CWebPage, bool> IsVideo{this, "IsVideo"};
    observable_property<CWebPage, CRefPtr<CAudioStreamBasicInfo>> AudioStreamBasicInfo{this, "AudioStreamBasicInfo"};

private:
    QV_PROPERTY_HOOKS(WebPageClassifier)
    QV_PROPERTY_HOOKS(IsVideo)
    QV_PROPERTY_HOOKS(AudioStreamBasicInfo)
};

}  // namespace qv
