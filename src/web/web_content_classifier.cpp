#include "web/web_content_classifier.h"

#include <cstdio>

#include "core/async.h"
#include "core/text.h"
#include "platform/platform.h"
#include "web/object_factory_table.h"
#include "web/web_page.h"

namespace qv {

CWebContentClassifier::CWebContentClassifier(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                             const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                             const CRefPtr<CContentClassifierLog>& log)
    : CCommonBase(traceTarget, dispatcher, log) {
    NewHostId();
    Trace(L"hostId = %s.\n", Utf8ToWide(HostIdText()));
    StartPELTAKPipeThread();
}

CWebContentClassifier::~CWebContentClassifier() {
    // The pipe first, so that no message arrives for a model that goes; then
    // the objects, while the collections they leave are still here.
    StopPELTAKPipeThread();
    Objects.Clear();
}

void CWebContentClassifier::NewHostId() {
    hostId = GUID{};
    if (CRefPtr<IPlatform> platform = GetPlatform()) platform->System()->CoCreateGuid(hostId);
}

std::string CWebContentClassifier::HostIdText() const {
    char text[64];
    std::snprintf(text, sizeof text, "{%08X-%04hX-%04hX-%02X%02X-%02X%02X%02X%02X%02X%02X}", hostId.Data1, hostId.Data2,
                  hostId.Data3, hostId.Data4[0], hostId.Data4[1], hostId.Data4[2], hostId.Data4[3], hostId.Data4[4],
                  hostId.Data4[5], hostId.Data4[6], hostId.Data4[7]);
    return text;
}

CRefPtr<CWebClassificationObject> CWebContentClassifier::FindOrCreateObject(const WebObjectId& id,
                                                                            const std::string& type) {
    if (CRefPtr<CWebClassificationObject> existing = Objects.Find(id)) return existing;
    WebObjectFactory factory = FindWebObjectFactory(type);
    if (!factory) return nullptr;
    CRefPtr<CWebClassificationObject> object = factory(TraceTarget(), Dispatcher(), Log(), id);
    Objects.Add(id, object);
    object->WebContentClassifier.set(CWeakRefPtr<CWebContentClassifier>(this));
    return object;
}

void CWebContentClassifier::WipePages() {
    for (std::size_t i = WebPages.size(); i-- > 0;) {
        if (i < WebPages.size()) Objects.Remove(WebPages[i]->Id);
    }
}

void CWebContentClassifier::LogLine(const std::string& text) {
    const double seconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - StartTicks).count() /
        1000.0;
    // A long change (a page's whole title, say) is cut: the log is for a
    // person reading along.
    constexpr std::size_t kCut = 512;
    std::string line = text.size() > kCut ? text.substr(0, kCut) + " ..." : text;
    if (text.empty() || text.back() != '\n') line += '\n';
    std::fprintf(LogOutput, "[%.03f] %s", seconds, line.c_str());
    std::fflush(LogOutput);
}

}  // namespace qv
