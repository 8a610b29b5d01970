// What one web page plays, from its host and, on the video site, its video's
// category. The page sets it up; the content classifier reads Classification
// in place of a browser session's own. The value means something only while
// the page is audible.
#pragma once

#include "classify/classification.h"
#include "core/common_base.h"
#include "web/youtube_categories.h"

namespace qv {

class CWebContentClassifier;
class CWebPage;

class CWebPageClassifier : public CCommonBase {
public:
    CWebPageClassifier(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                       const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log);

    observable_property<CWebPageClassifier, CWeakRefPtr<CWebContentClassifier>> WebContentClassifier{
        this, "WebContentClassifier"};
    observable_property<CWebPageClassifier, CWeakRefPtr<CWebPage>> WebPage{this, "WebPage"};
    // Only an allowed add-on's pages get a table, and with it a category.
    observable_property<CWebPageClassifier, CRefPtr<CYoutubeCategoryClassifications>> YoutubeCategoryClassifications{
        this, "YoutubeCategoryClassifications"};
    observable_property<CWebPageClassifier, CClassification> Classification{this, "Classification"};

protected:
    ~CWebPageClassifier() override;

private:
    void ClassifyByHost(CWebPage& page);
    void ClassifyByCategory(CWebPage& page);

    QV_PROPERTY_HANDLERS(CWebPageClassifier, WebContentClassifier)
    QV_PROPERTY_HANDLERS(CWebPageClassifier, WebPage)
    QV_PROPERTY_HANDLERS(CWebPageClassifier, YoutubeCategoryClassifications)
    QV_PROPERTY_HOOKS(Classification)
    // The page's properties.
    QV_PROPERTY_HANDLERS(CWebPageClassifier, extensionId)
    QV_PROPERTY_HANDLERS(CWebPageClassifier, extensionVersion)
    QV_PROPERTY_HANDLERS(CWebPageClassifier, urlHost)
    QV_PROPERTY_HANDLERS(CWebPageClassifier, IsAudible)
    QV_PROPERTY_HANDLERS(CWebPageClassifier, isYoutube)
    QV_PROPERTY_HANDLERS(CWebPageClassifier, youtubeVideoInfo)
    QV_PROPERTY_HANDLERS(CWebPageClassifier, youtubeCategoryId)
};

}  // namespace qv
