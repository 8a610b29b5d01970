// A page's address in its seven parts, and the video id of a watch page's
// query. The rules are those of one regular expression,
//
//   ^([a-z][a-z0-9+\-.]*):(?://(?:([^@]+)@)?([^/:]+)?(?::([^/]+))?)?
//    (?:/([^\?#]*))?(?:\?([^#]+))?(?:#(.+))?      (whole text, any case)
//
// and the parts are exactly what an ECMAScript engine gives for it, quirks
// included (a host ends at the first "/" or ":" only, so "a.com?x" is all
// host; a userinfo runs to the first "@" wherever it stands). It is written
// out by hand because the address comes from web pages: a backtracking
// engine recurses once per character of a long address and overflows the
// stack, where this reads the text a bounded number of times.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qv {

struct UrlParts {
    std::string scheme, userinfo, host, port, path, query, fragment;
    friend bool operator==(const UrlParts&, const UrlParts&) = default;
};

// Nothing when the text is no such address.
std::optional<UrlParts> DecomposeUrl(std::string_view url);

// What "^v=([^&]+)" finds in a query: the value of a first parameter "v".
std::optional<std::string> VideoIdOfQuery(std::string_view query);

}  // namespace qv
