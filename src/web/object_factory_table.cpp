#include "web/object_factory_table.h"

#include <map>

#include "web/web_page.h"

namespace qv {

namespace {

template <class T>
CRefPtr<CWebClassificationObject> Make(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                       const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                       const CRefPtr<CContentClassifierLog>& log, const WebObjectId& id) {
    return MakeRef<T>(traceTarget, dispatcher, log, id);
}

}  // namespace

WebObjectFactory FindWebObjectFactory(const std::string& type) {
    static const std::map<std::string, WebObjectFactory> table = {
        {"web-page", &Make<CWebPage>},
        {"web-video-element", &Make<CWebVideoElement>},
        {"web-audio-element", &Make<CWebAudioElement>},
        {"web-script-node", &Make<CWebScriptNode>},
    };
    auto it = table.find(type);
    return it == table.end() ? nullptr : it->second;
}

}  // namespace qv
