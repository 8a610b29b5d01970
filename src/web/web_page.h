// One browser tab's document as the browser add-on reports it. The content
// classifier matches an audible page to a browser's audio session by the
// browser's process id.
#pragma once

#include <cstdint>

#include "core/common_base.h"
#include "sessions/audio_stream_basic_info.h"
#include "web/web_page_classifier.h"

namespace qv {

class CWebPage : public CCommonBase {
public:
    using CCommonBase::CCommonBase;

    // The browser's process id; unknown until the add-on has reported.
    observable_property<CWebPage, uint32_t> SourceProcessID{this, "SourceProcessID", 0xFFFFFFFFu};
    observable_property<CWebPage, CRefPtr<CWebPageClassifier>> WebPageClassifier{this, "WebPageClassifier"};
    observable_property<CWebPage, bool> IsVideo{this, "IsVideo"};
    observable_property<CWebPage, CRefPtr<CAudioStreamBasicInfo>> AudioStreamBasicInfo{this, "AudioStreamBasicInfo"};

private:
    QV_PROPERTY_HOOKS(SourceProcessID)
    QV_PROPERTY_HOOKS(WebPageClassifier)
    QV_PROPERTY_HOOKS(IsVideo)
    QV_PROPERTY_HOOKS(AudioStreamBasicInfo)
};

}  // namespace qv
