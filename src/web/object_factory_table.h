// From a change's "type" to the class of web object it makes. The four types
// of the add-on's protocol are the only ones; an unknown type makes nothing.
#pragma once

#include <string>

#include "core/common_base.h"
#include "web/web_classification_object.h"

namespace qv {

using WebObjectFactory = CRefPtr<CWebClassificationObject> (*)(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                                               const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                                               const CRefPtr<CContentClassifierLog>& log,
                                                               const WebObjectId& id);

// Null for a type outside the table.
WebObjectFactory FindWebObjectFactory(const std::string& type);

}  // namespace qv
