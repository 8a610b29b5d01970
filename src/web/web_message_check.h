// What the classifier refuses of a native host's message before it touches
// the model: the add-on's text comes from web pages and a browser, so a
// message is either applied as a whole, key by key, or not at all.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace qv {

// Why the parsed message is refused, or nothing when it may be applied: a
// top-level value that is no object, an "instanceId", "type" or "id" that
// is no string, "changes" that is no array or holds something else than
// objects, an "id" or "pageId" that is no object id (shorter than 17
// characters, or without hexadecimal digits).
std::optional<std::string> RefusalOf(const nlohmann::json& message);

}  // namespace qv
