// A part of a page's document that the add-on mirrors: an element or a
// script node. It names its page by id text, and hangs itself on that page:
// a node may be reported before its page, which is then made empty and
// filled in by a later change.
#pragma once

#include <cstddef>
#include <string>

#include "web/web_classification_object.h"

namespace qv {

class CWebPage;

class CWebNode : public CWebClassificationObject {
public:
    CWebNode(const CRefPtr<ITraceFuncCallTarget>& traceTarget, const CRefPtr<IAsyncActionDispatcher>& dispatcher,
             const CRefPtr<CContentClassifierLog>& log, std::string type, const WebObjectId& id);

    observable_property<CWebNode, std::string> pageId{this, "pageId"};
    observable_property<CWebNode, WebObjectId> pageID{this, "pageID"};
    observable_property<CWebNode, CWeakRefPtr<CWebPage>> WebPage{this, "WebPage"};

protected:
    ~CWebNode() override;

    // The page while it lives; null once it is dying, when its collections
    // go with it and need no cleaning.
    CRefPtr<CWebPage> LivePage() const;

    // By address, not by reference: taking a new reference to this node is
    // what must not happen on a page's way out.
    template <class Collection>
    void LeaveCollection(Collection& collection) const {
        for (std::size_t i = 0; i < collection.size(); ++i) {
            if (collection[i].get() == this) {
                collection.RemoveAt(i);
                return;
            }
        }
    }

private:
    QV_PROPERTY_HANDLERS(CWebNode, pageId)
    QV_PROPERTY_HOOKS(pageID)
    QV_PROPERTY_HANDLERS(CWebNode, WebPage)
};

}  // namespace qv
