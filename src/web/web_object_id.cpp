#include "web/web_object_id.h"

#include <cstdio>

namespace qv {

namespace {

std::optional<uint64_t> ReadHex(const std::string& text, std::size_t from) {
    uint64_t value = 0;
    std::size_t digits = 0;
    for (std::size_t i = from; i < text.size(); ++i, ++digits) {
        const char c = text[i];
        uint64_t digit;
        if (c >= '0' && c <= '9')
            digit = static_cast<uint64_t>(c - '0');
        else if (c >= 'a' && c <= 'f')
            digit = static_cast<uint64_t>(c - 'a' + 10);
        else if (c >= 'A' && c <= 'F')
            digit = static_cast<uint64_t>(c - 'A' + 10);
        else
            break;
        // More than 16 digits saturate, as strtoull does.
        value = value > (UINT64_MAX >> 4) ? UINT64_MAX : (value << 4) | digit;
    }
    if (digits == 0) return std::nullopt;
    return value;
}

}  // namespace

std::optional<WebObjectId> ParseWebObjectId(const std::string& text) {
    if (text.size() < 17) return std::nullopt;
    std::optional<uint64_t> first = ReadHex(text, 0);
    std::optional<uint64_t> second = ReadHex(text, 17);
    if (!first || !second) return std::nullopt;
    return WebObjectId{*first, *second};
}

std::string FormatWebObjectId(const WebObjectId& id) {
    char text[40];
    std::snprintf(text, sizeof text, "%016llx-%016llx", static_cast<unsigned long long>(id.first),
                  static_cast<unsigned long long>(id.second));
    return text;
}

}  // namespace qv
