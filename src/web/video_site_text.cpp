#include "web/video_site_text.h"

#include <cstdint>

#include "core/text.h"

namespace qv {

namespace {

std::wstring ReplaceAll(std::wstring_view text, std::wstring_view from, std::wstring_view to) {
    std::wstring out;
    out.reserve(text.size());
    std::size_t at = 0;
    for (std::size_t found = text.find(from); found != std::wstring_view::npos; found = text.find(from, at)) {
        out.append(text.substr(at, found - at));
        out.append(to);
        at = found + from.size();
    }
    out.append(text.substr(at));
    return out;
}

int HexValue(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

}  // namespace

std::wstring ExtractBetween(std::wstring_view text, std::size_t& position, std::wstring_view startKey,
                            std::wstring_view endKey, const std::wstring& defaultValue, bool& endFound) {
    endFound = false;
    // Past the end, find gives npos; the sum cannot wrap for a real text.
    const std::size_t from = position == std::wstring_view::npos ? position : position + endKey.size();
    position = from == std::wstring_view::npos ? from : text.find(startKey, from);
    if (position == std::wstring_view::npos) return defaultValue;
    position += startKey.size();
    const std::size_t end = text.find(endKey, position);
    if (end == std::wstring_view::npos) return defaultValue;
    endFound = true;
    std::wstring value = ReplaceAll(text.substr(position, end - position), L"\\u0026", L"&");
    position = end;
    return value;
}

std::wstring ExtractBetween(std::wstring_view text, std::size_t& position, std::wstring_view startKey,
                            std::wstring_view endKey, const std::wstring& defaultValue) {
    bool endFound = false;
    return ExtractBetween(text, position, startKey, endKey, defaultValue, endFound);
}

uint32_t LeadingNumber(std::wstring_view value) {
    constexpr uint32_t kLargest = 0x7FFFFFFFu;
    std::size_t at = 0;
    while (at < value.size() && (value[at] == L' ' || value[at] == L'\t' || value[at] == L'\n' || value[at] == L'\r'))
        ++at;
    if (at < value.size() && value[at] == L'+') ++at;
    uint32_t number = 0;
    for (; at < value.size() && value[at] >= L'0' && value[at] <= L'9'; ++at) {
        const uint32_t digit = static_cast<uint32_t>(value[at] - L'0');
        number = number > (kLargest - digit) / 10u ? kLargest : number * 10u + digit;
    }
    return number;
}

std::wstring UnescapeVideoSiteText(std::wstring_view text) {
    return ReplaceAll(ReplaceAll(text, L"\\\"", L"\""), L"\\\\", L"\\");
}

std::optional<std::wstring> PercentDecode(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t percent = text.find(L'%', at);
        bytes += WideToUtf8(text.substr(at, percent == std::wstring_view::npos ? text.size() - at : percent - at));
        if (percent == std::wstring_view::npos) break;
        if (percent + 2 >= text.size()) return std::nullopt;
        const int high = HexValue(text[percent + 1]);
        const int low = HexValue(text[percent + 2]);
        if (high < 0 || low < 0 || (high == 0 && low == 0)) return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
        at = percent + 3;
    }
    return Utf8ToWide(bytes);
}

}  // namespace qv
