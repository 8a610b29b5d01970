// An audio or video element. It files itself into its page's media
// collections, and into the playing ones while it plays; the page derives
// from those collections whether it makes sound.
#pragma once

#include "web/web_element.h"

namespace qv {

class CWebMediaElement : public CWebElement {
public:
    CWebMediaElement(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                     const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log,
                     std::string type, const WebObjectId& id);

    observable_property<CWebMediaElement, std::string> src{this, "src"};
    observable_property<CWebMediaElement, std::string> currentSrc{this, "currentSrc"};
    // Seconds, as the browser reports them; NaN while it does not know.
    observable_property<CWebMediaElement, float> duration{this, "duration"};
    observable_property<CWebMediaElement, bool> playing{this, "playing"};

protected:
    ~CWebMediaElement() override;

private:
    QV_PROPERTY_HANDLERS(CWebMediaElement, WebPage)
    QV_PROPERTY_HANDLERS(CWebMediaElement, src)
    QV_PROPERTY_HANDLERS(CWebMediaElement, currentSrc)
    QV_PROPERTY_HOOKS(duration)
    QV_PROPERTY_HANDLERS(CWebMediaElement, playing)
};

}  // namespace qv
