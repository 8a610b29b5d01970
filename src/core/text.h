// Conversions between the model's wide strings and the bytes of the wires:
// UTF-8 and UTF-16LE. Correct whether wchar_t has two bytes (Windows, UTF-16)
// or four (Linux, UTF-32). Invalid input never stops a conversion: a bad
// sequence becomes U+FFFD, so nothing already received is lost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv {

std::string WideToUtf8(std::wstring_view text);
std::wstring Utf8ToWide(std::string_view text);

// UTF-16 code units, little endian, without a terminator.
std::vector<uint8_t> WideToUtf16Le(std::wstring_view text);
// Reads size bytes of UTF-16LE; an odd last byte is dropped.
std::wstring Utf16LeToWide(const void* data, std::size_t size);

// towlower over the whole text, character by character.
std::wstring ToLowerWide(std::wstring_view text);
// Whether text begins with word, without regard to case (through towlower).
bool StartsWithNoCase(std::wstring_view text, std::wstring_view word);

}  // namespace qv
