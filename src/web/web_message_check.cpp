#include "web/web_message_check.h"

#include "web/web_object_id.h"

namespace qv {

namespace {

bool IsStringIfPresent(const nlohmann::json& object, const char* key) {
    auto it = object.find(key);
    return it == object.end() || it->is_string();
}

// An empty id is allowed: the change is then skipped, as one without an id.
bool IsObjectIdIfPresent(const nlohmann::json& change, const char* key) {
    auto it = change.find(key);
    if (it == change.end() || !it->is_string()) return true;
    const std::string& text = it->get_ref<const std::string&>();
    return text.empty() || ParseWebObjectId(text).has_value();
}

}  // namespace

std::optional<std::string> RefusalOf(const nlohmann::json& message) {
    if (!message.is_object()) return "the message is no JSON object";
    if (!IsStringIfPresent(message, "instanceId")) return "\"instanceId\" is no string";
    auto changes = message.find("changes");
    if (changes == message.end()) return std::nullopt;
    if (!changes->is_array()) return "\"changes\" is no array";
    for (const nlohmann::json& change : *changes) {
        if (!change.is_object()) return "a change is no JSON object";
        if (!IsStringIfPresent(change, "type")) return "a change's \"type\" is no string";
        if (!IsStringIfPresent(change, "id")) return "a change's \"id\" is no string";
        if (!IsObjectIdIfPresent(change, "id")) return "a change's \"id\" is no object id";
        if (!IsObjectIdIfPresent(change, "pageId")) return "a change's \"pageId\" is no object id";
    }
    return std::nullopt;
}

}  // namespace qv
