// Plain text search in the video site's own text (its page's script, its
// watch page, its video information): the values are found between keys,
// and nothing is parsed as JSON. The text is the site's, so every search
// stays in bounds and the whole work is linear in the text's length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qv {

// The text between the first startKey at or after position + endKey's
// length and the endKey that follows it, with every "\u0026" (six
// characters) made "&". position comes back at that endKey; npos when
// there was no startKey. Without an endKey the default comes back and
// position stays behind the startKey.
std::wstring ExtractBetween(std::wstring_view text, std::size_t& position, std::wstring_view startKey,
                            std::wstring_view endKey, const std::wstring& defaultValue);

// As above, and whether the endKey was found: a scan can stop there, since
// no later search from further on would find one either.
std::wstring ExtractBetween(std::wstring_view text, std::size_t& position, std::wstring_view startKey,
                            std::wstring_view endKey, const std::wstring& defaultValue, bool& endFound);

// The leading decimal number of a value, as far as its digits go; 0 when it
// has none. Too large a number stays at the largest 32-bit signed value.
uint32_t LeadingNumber(std::wstring_view value);

// The site's escaped quotes and backslashes: a backslash before a double
// quote goes, then each pair of backslashes becomes one.
std::wstring UnescapeVideoSiteText(std::wstring_view text);

// "%XX" gives that byte, the bytes read as UTF-8. A percent sign without
// two hexadecimal digits behind it, or with "00", fails the whole text.
std::optional<std::wstring> PercentDecode(std::wstring_view text);

}  // namespace qv
