#include "web/web_host_rules.h"

#include <string_view>
#include <vector>

namespace qv {

namespace {

// Each rule was an alternation of end-anchored names; a list of suffixes says
// the same, and costs time linear in the host however long a page makes it.
struct SuffixRule {
    std::vector<std::string_view> suffixes;
    WebHostRule rule;
};

const std::vector<SuffixRule>& HostRules() {
    static const std::vector<SuffixRule> rules = {
        {{".audible.com", ".overdrive.com", "meet.google.com", "hangouts.google.com"},
         {L"Voice", {CategoryVoice, 1.0f, 30, SourceWebPage, false}}},
        {{".pandora.com", ".soundcloud.com", ".spotify.com", ".myspace.com", ".tunein.com", ".last.fm", ".iheart.com",
          ".allmusic.com", "music.amazon.com", "music.youtube.com"},
         {L"Music", {CategoryMusic, 1.0f, 20, SourceWebPage, false}}},
        {{".amazon.com", ".hulu.com", ".netflix.com", ".disneyplus.com", ".hbo.com", ".crackle.com", ".popcornflix.com",
          ".vudu.com"},
         {L"Movie", {CategoryMovie, 1.0f, 10, SourceWebPage, false}}},
    };
    return rules;
}

}  // namespace

std::optional<WebHostRule> FindWebHostRule(const std::string& host) {
    for (const SuffixRule& rule : HostRules())
        for (std::string_view suffix : rule.suffixes)
            if (std::string_view(host).ends_with(suffix)) return rule.rule;
    return std::nullopt;
}

}  // namespace qv
