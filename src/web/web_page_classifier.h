// What one web page plays, from its host and, on the video site, its video's
// category. The page sets it up; the content classifier reads Classification
// in place of a browser session's own.
#pragma once

#include "classify/classification.h"
#include "core/common_base.h"

namespace qv {

class CWebPageClassifier : public CCommonBase {
public:
    using CCommonBase::CCommonBase;

    observable_property<CWebPageClassifier, CClassification> Classification{this, "Classification"};

private:
    QV_PROPERTY_HOOKS(Classification)
};

}  // namespace qv
