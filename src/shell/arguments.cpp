#include "shell/arguments.h"

namespace qv {

const std::regex& ArgumentPattern() {
    static const std::regex pattern("^/([^=]+)=(.+)");
    return pattern;
}

ArgumentTable ParseArguments(const std::vector<std::string>& elements) {
    ArgumentTable table;
    for (const std::string& element : elements) {
        std::smatch match;
        if (std::regex_search(element, match, ArgumentPattern())) table[match[1].str()] = match[2].str();
    }
    return table;
}

std::vector<std::string> SplitEndpointIds(const std::string& value) {
    static const std::regex comma(",");
    std::vector<std::string> ids;
    // An absent key reads as empty text, of which a regex split would still
    // make one empty id; no argument means no endpoints.
    if (value.empty()) return ids;
    for (std::sregex_token_iterator it(value.begin(), value.end(), comma, -1), end; it != end; ++it) ids.push_back(*it);
    return ids;
}

std::string ArgumentValue(const ArgumentTable& table, const std::string& key) {
    auto it = table.find(key);
    return it == table.end() ? std::string() : it->second;
}

}  // namespace qv
