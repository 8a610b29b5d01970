// A <video> of a page. On the video site a playing one of known length is
// what makes the page look for the video's metadata.
#pragma once

#include "web/web_media_element.h"

namespace qv {

class CWebVideoElement : public CWebMediaElement {
public:
    CWebVideoElement(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                     const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log,
                     const WebObjectId& id);

protected:
    ~CWebVideoElement() override;

private:
    QV_PROPERTY_HANDLERS(CWebVideoElement, WebPage)
    QV_PROPERTY_HANDLERS(CWebVideoElement, playing)
};

}  // namespace qv
