// An <audio> of a page. It counts towards the page's sound like a video
// does, and towards nothing else.
#pragma once

#include "web/web_media_element.h"

namespace qv {

class CWebAudioElement : public CWebMediaElement {
public:
    CWebAudioElement(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                     const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log,
                     const WebObjectId& id);

protected:
    ~CWebAudioElement() override;

private:
    QV_PROPERTY_HANDLERS(CWebAudioElement, WebPage)
    QV_PROPERTY_HANDLERS(CWebAudioElement, playing)
};

}  // namespace qv
