// One message of the native host on the main thread: the instance rule, then
// each change as property sets on the object of its id.
#include <chrono>
#include <cstring>

#include "core/text.h"
#include "web/property_from_json.h"
#include "web/web_content_classifier.h"
#include "web/web_message_check.h"
#include "web/web_page.h"

namespace qv {

namespace {

// Keys in ascending byte order, as the parsed object keeps them: "audible"
// before "url", "pageId" before "playing" and "text". A key without a
// property of that name on this object ("id", "type", a typo, a page's key
// sent to an element) falls out here.
void ApplyChange(CWebClassificationObject& object, const nlohmann::json& change, const CCommonBase& tracer) {
    for (auto it = change.begin(); it != change.end(); ++it) {
        _observable_property_base* property = PropertyAccessorTable::Instance().PropertyOf(it.key(), &object);
        if (!property) continue;
        if (!SetPropertyFromJson(*property, it.value()))
            tracer.Trace(L"Ignored \"%s\": a JSON %s does not fit the property.\n", Utf8ToWide(it.key()),
                         Utf8ToWide(it.value().type_name()));
    }
}

}  // namespace

void CWebContentClassifier::ProcessMessage(uint32_t sourceProcessId, const std::wstring& sourceProcessPath,
                                           const std::string& body, std::string& reply) {
    const auto start = std::chrono::steady_clock::now();
    reply.clear();
    // The body counts up to its first NUL, as a C string would.
    const std::string text(body.c_str(), ::strnlen(body.c_str(), body.size()));
    const nlohmann::json message = nlohmann::json::parse(text, nullptr, false);
    if (message.is_discarded()) {
        Trace(L"Message refused: it is no JSON text.\n");
        return;
    }
    if (std::optional<std::string> refusal = RefusalOf(message)) {
        Trace(L"Message refused: %s.\n", Utf8ToWide(*refusal));
        return;
    }

    const std::string instanceId = message.value("instanceId", std::string());
    if (ExtensionInstanceId->empty()) {
        ExtensionInstanceId.set(instanceId);
    } else if (ExtensionInstanceId.value() != instanceId) {
        // A restarted browser or add-on: what the old instance said is void,
        // and the new host id tells the add-on so in this very reply.
        ExtensionInstanceId.set(instanceId);
        WipePages();
        NewHostId();
    }
    ReplyJson["hostId"] = HostIdText();

    if (auto changes = message.find("changes"); changes != message.end()) {
        for (const nlohmann::json& change : *changes) {
            const std::string type = change.value("type", std::string());
            const std::string id = change.value("id", std::string());
            // A script node's text is a whole page script: it stays out of the log.
            if (type != "web-script-node") LogLine(change.dump());
            if (type.empty() || id.empty()) continue;
            CRefPtr<CWebClassificationObject> object = FindOrCreateObject(*ParseWebObjectId(id), type);
            if (!object) continue;
            object->SourceProcessID.set(sourceProcessId);
            object->SourceProcessPath.set(sourceProcessPath);
            ApplyChange(*object, change, *this);
        }
    }

    ReplyJson["isDefaultEndpoint"] = true;
    reply = ReplyJson.dump();
    ReplyJson = nlohmann::json();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    LogLine("Took " + std::to_string(took.count()) + " seconds");
}

}  // namespace qv
