// The id of a web object: two 64-bit numbers that the add-on writes as
// "%016llx-%016llx". It is the key of the classifier's object table, and a
// node names its page by it.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>

namespace qv {

struct WebObjectId {
    uint64_t first = 0;
    uint64_t second = 0;
    friend auto operator<=>(const WebObjectId&, const WebObjectId&) = default;
};

// The first number from the start of the text, the second from character 17
// on, each read base 16 as far as hexadecimal digits go. The add-on's ids are
// 33 characters; a text shorter than 17 has no second number and gives none
// (the caller refuses it), as does a text without a hexadecimal digit at the
// start of either number.
std::optional<WebObjectId> ParseWebObjectId(const std::string& text);

// "%016llx-%016llx".
std::string FormatWebObjectId(const WebObjectId& id);

}  // namespace qv
