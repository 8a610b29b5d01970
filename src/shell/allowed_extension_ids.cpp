#include "shell/allowed_extension_ids.h"

#include <nlohmann/json.hpp>

#include "shell/manifest_template.h"

namespace qv {

const std::regex& ExtensionOriginPattern() {
    static const std::regex pattern("^chrome-extension://([^/]+)");
    return pattern;
}

std::set<std::string> ReadAllowedExtensionIds() {
    std::set<std::string> ids;
    const std::optional<std::string> manifest = LoadManifestTemplate();
    if (!manifest) return ids;
    const nlohmann::json parsed = nlohmann::json::parse(*manifest);
    const auto origins = parsed.find("allowed_origins");
    if (origins == parsed.end() || !origins->is_array()) return ids;
    for (const nlohmann::json& origin : *origins) {
        if (!origin.is_string()) continue;
        const std::string& text = origin.get_ref<const std::string&>();
        std::smatch match;
        if (std::regex_search(text, match, ExtensionOriginPattern())) ids.insert(match[1].str());
    }
    return ids;
}

}  // namespace qv
