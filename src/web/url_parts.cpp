#include "web/url_parts.h"

#include <vector>

namespace qv {

namespace {

bool IsSchemeStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsSchemeChar(char c) { return IsSchemeStart(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.'; }

// Where the tail "(?:/([^?#]*))?(?:\?([^#]+))?(?:#(.+))?" matches the rest of
// the text from each position, worked out once from the end, so that the
// choices of host and port further up cost one look each.
class CTail {
public:
    explicit CTail(std::string_view text) : m_text(text), m_n(text.size()) {
        m_nextQueryOrFragment.assign(m_n + 1, m_n);
        m_nextFragment.assign(m_n + 1, m_n);
        m_lineEndFrom.assign(m_n + 1, false);
        m_matches.assign(m_n + 1, false);
        m_lastMatchAtOrBefore.assign(m_n + 1, kNone);
        for (std::size_t i = m_n; i-- > 0;) {
            const char c = text[i];
            m_nextQueryOrFragment[i] = (c == '?' || c == '#') ? i : m_nextQueryOrFragment[i + 1];
            m_nextFragment[i] = c == '#' ? i : m_nextFragment[i + 1];
            m_lineEndFrom[i] = c == '\n' || c == '\r' || m_lineEndFrom[i + 1];
        }
        for (std::size_t i = m_n + 1; i-- > 0;) m_matches[i] = Compute(i);
        std::size_t last = kNone;
        for (std::size_t i = 0; i <= m_n; ++i) m_lastMatchAtOrBefore[i] = last = m_matches[i] ? i : last;
    }

    bool Matches(std::size_t at) const { return m_matches[at]; }
    // The largest position in [from, to] where the tail matches, or kNone.
    std::size_t LastMatchIn(std::size_t from, std::size_t to) const {
        const std::size_t last = m_lastMatchAtOrBefore[to];
        return last != kNone && last >= from ? last : kNone;
    }
    // The tail's three parts from a position where it matches.
    void Fill(std::size_t at, UrlParts& parts) const {
        if (at < m_n && m_text[at] == '/') {
            const std::size_t end = m_nextQueryOrFragment[at + 1];
            parts.path = m_text.substr(at + 1, end - at - 1);
            at = end;
        }
        if (at < m_n && m_text[at] == '?') {
            const std::size_t end = m_nextFragment[at + 1];
            parts.query = m_text.substr(at + 1, end - at - 1);
            at = end;
        }
        if (at < m_n) parts.fragment = m_text.substr(at + 1);
    }

    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

private:
    // "#" and at least one character, none of them a line end (what "." takes).
    bool FragmentFrom(std::size_t at) const { return m_text[at] == '#' && at + 1 < m_n && !m_lineEndFrom[at + 1]; }
    // "?", a query of at least one character, then a fragment or the end.
    bool QueryFrom(std::size_t at) const {
        const std::size_t end = m_nextFragment[at + 1 <= m_n ? at + 1 : m_n];
        return end > at + 1 && (end == m_n || FragmentFrom(end));
    }
    bool Compute(std::size_t at) const {
        if (at == m_n) return true;
        switch (m_text[at]) {
            case '/': {
                const std::size_t end = m_nextQueryOrFragment[at + 1];
                return end == m_n || (m_text[end] == '?' ? QueryFrom(end) : FragmentFrom(end));
            }
            case '?': return QueryFrom(at);
            case '#': return FragmentFrom(at);
            default: return false;
        }
    }

    std::string_view m_text;
    std::size_t m_n;
    std::vector<std::size_t> m_nextQueryOrFragment, m_nextFragment, m_lastMatchAtOrBefore;
    std::vector<bool> m_lineEndFrom, m_matches;
};

std::size_t RunEnd(std::string_view text, std::size_t from, std::string_view stops) {
    const std::size_t end = text.find_first_of(stops, from);
    return end == std::string_view::npos ? text.size() : end;
}

// "(?::([^/]+))?" then the tail, from a position: the longest port that lets
// the tail match, else no port. Where the rest matches, the tail's position.
std::optional<std::size_t> PortThenTail(std::string_view text, const CTail& tail, std::size_t at, UrlParts& parts) {
    if (at < text.size() && text[at] == ':') {
        const std::size_t end = tail.LastMatchIn(at + 2, RunEnd(text, at + 1, "/"));
        if (end != CTail::kNone) {
            parts.port = text.substr(at + 1, end - at - 1);
            return end;
        }
    }
    if (tail.Matches(at)) return at;
    return std::nullopt;
}

// "([^/:]+)?" then the port and the tail: the longest host first, then
// shorter ones (which can only end where the tail takes over), then none.
std::optional<std::size_t> HostThenRest(std::string_view text, const CTail& tail, std::size_t at, UrlParts& parts) {
    const std::size_t run = RunEnd(text, at, "/:");
    if (run > at) {
        if (std::optional<std::size_t> rest = PortThenTail(text, tail, run, parts)) {
            parts.host = text.substr(at, run - at);
            return rest;
        }
        const std::size_t end = tail.LastMatchIn(at + 1, run - 1);
        if (end != CTail::kNone) {
            parts.host = text.substr(at, end - at);
            return end;
        }
    }
    return PortThenTail(text, tail, at, parts);
}

}  // namespace

std::optional<UrlParts> DecomposeUrl(std::string_view url) {
    UrlParts parts;
    if (url.empty() || !IsSchemeStart(url[0])) return std::nullopt;
    std::size_t at = 1;
    while (at < url.size() && IsSchemeChar(url[at])) ++at;
    if (at == url.size() || url[at] != ':') return std::nullopt;
    parts.scheme = url.substr(0, at);
    ++at;

    const CTail tail(url);
    if (url.substr(at, 2) == "//") {
        const std::size_t start = at + 2;
        const std::size_t atSign = url.find('@', start);
        // A userinfo first, if there is one; then without.
        if (atSign != std::string_view::npos && atSign > start) {
            UrlParts with = parts;
            if (std::optional<std::size_t> rest = HostThenRest(url, tail, atSign + 1, with)) {
                with.userinfo = url.substr(start, atSign - start);
                tail.Fill(*rest, with);
                return with;
            }
        }
        UrlParts without = parts;
        if (std::optional<std::size_t> rest = HostThenRest(url, tail, start, without)) {
            tail.Fill(*rest, without);
            return without;
        }
    }
    if (!tail.Matches(at)) return std::nullopt;
    tail.Fill(at, parts);
    return parts;
}

std::optional<std::string> VideoIdOfQuery(std::string_view query) {
    if (!query.starts_with("v=") || query.size() < 3 || query[2] == '&') return std::nullopt;
    return std::string(query.substr(2, RunEnd(query, 2, "&") - 2));
}

}  // namespace qv
