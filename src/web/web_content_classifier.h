// The browsers' pages as the add-on reports them, one object per process,
// shared by every endpoint's classifier (only the default endpoint's uses
// it). The collections hold raw pointers: the pages are owned elsewhere and
// leave the collections before they go.
#pragma once

#include "core/common_base.h"
#include "web/web_page.h"

namespace qv {

class CWebContentClassifier : public CCommonBase {
public:
    using PageCollection = observable_collection<CWebContentClassifier, CWebPage*>;

    using CCommonBase::CCommonBase;

    // Every live page.
    PageCollection WebPages{this};
    // The pages that really are audible.
    PageCollection AudibleWebPages{this};
};

}  // namespace qv
