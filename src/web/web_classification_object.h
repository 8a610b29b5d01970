// The base of every object that the browser add-on reports: a page, its media
// elements, its script nodes. Each lives in the web classifier's object table
// under its id, and is set up by name from the add-on's JSON, so the property
// names here are the protocol's.
#pragma once

#include <cstdint>
#include <string>

#include "core/common_base.h"
#include "web/web_object_id.h"

namespace qv {

class CWebContentClassifier;

// There is no lock of the object's own: everything here runs on the main
// thread, and nothing would ever take it. Objects trace through their
// classifier's trace target, which the factory hands on, so that the scopes
// of their handlers show up in its trace.
class CWebClassificationObject : public CCommonBase {
public:
    CWebClassificationObject(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                             const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                             const CRefPtr<CContentClassifierLog>& log, std::string type, const WebObjectId& id);

    // The "type" of the change that made the object; not observable.
    const std::string Type;
    const WebObjectId Id;

    // The owner. Setting it is what starts an object's wiring.
    observable_property<CWebClassificationObject, CWeakRefPtr<CWebContentClassifier>> WebContentClassifier{
        this, "WebContentClassifier"};
    // The browser's process id and executable path, as its native host gave
    // them with the last change of this object.
    observable_property<CWebClassificationObject, uint32_t> SourceProcessID{this, "SourceProcessID", 0xFFFFFFFFu};
    observable_property<CWebClassificationObject, std::wstring> SourceProcessPath{this, "SourceProcessPath"};

protected:
    ~CWebClassificationObject() override;

private:
    QV_PROPERTY_HOOKS(WebContentClassifier)
    QV_PROPERTY_HOOKS(SourceProcessID)
    QV_PROPERTY_HOOKS(SourceProcessPath)
};

}  // namespace qv
