#include "web/web_host_rules.h"

#include <regex>
#include <vector>

namespace qv {

namespace {

struct CompiledRule {
    std::regex pattern;
    WebHostRule rule;
};

const std::vector<CompiledRule>& HostRules() {
    static const std::vector<CompiledRule> rules = {
        {std::regex(R"(\.audible\.com$|\.overdrive\.com$|meet\.google\.com$|hangouts\.google\.com$)"),
         {L"Voice", {CategoryVoice, 1.0f, 30, SourceWebPage, false}}},
        {std::regex(R"(\.pandora\.com$|\.soundcloud\.com$|\.spotify\.com$|\.myspace\.com$|\.tunein\.com$|)"
                    R"(\.last\.fm$|\.iheart\.com$|\.allmusic\.com$|music\.amazon\.com$|music\.youtube\.com$)"),
         {L"Music", {CategoryMusic, 1.0f, 20, SourceWebPage, false}}},
        {std::regex(R"(\.amazon\.com$|\.hulu\.com$|\.netflix\.com$|\.disneyplus\.com$|\.hbo\.com$|)"
                    R"(\.crackle\.com$|\.popcornflix\.com$|\.vudu\.com$)"),
         {L"Movie", {CategoryMovie, 1.0f, 10, SourceWebPage, false}}},
    };
    return rules;
}

}  // namespace

std::optional<WebHostRule> FindWebHostRule(const std::string& host) {
    for (const CompiledRule& compiled : HostRules())
        if (std::regex_search(host, compiled.pattern)) return compiled.rule;
    return std::nullopt;
}

}  // namespace qv
