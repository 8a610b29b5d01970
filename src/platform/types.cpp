#include "platform/types.h"

#include <cwctype>

#include "core/format.h"

namespace qv {

std::wstring GuidToString(const GUID& g) {
    return FormatW(L"{%08X-%04hX-%04hX-%02hhX%02hhX-%02hhX%02hhX%02hhX%02hhX%02hhX%02hhX}", g.Data1, g.Data2, g.Data3,
                   g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
}

bool GuidFromString(const std::wstring& text, GUID& guid) {
    std::wstring t = text;
    if (t.size() == 38 && t.front() == L'{' && t.back() == L'}') t = t.substr(1, 36);
    if (t.size() != 36 || t[8] != L'-' || t[13] != L'-' || t[18] != L'-' || t[23] != L'-') return false;
    std::wstring hex;
    for (std::size_t i = 0; i < t.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23) continue;
        if (!std::iswxdigit(static_cast<std::wint_t>(t[i]))) return false;
        hex.push_back(t[i]);
    }
    auto value = [&](std::size_t at, std::size_t digits) {
        uint64_t v = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            wchar_t c = hex[at + i];
            v = v * 16 + static_cast<uint64_t>(c <= L'9' ? c - L'0' : (std::towlower(static_cast<std::wint_t>(c)) - L'a' + 10));
        }
        return v;
    };
    guid.Data1 = static_cast<uint32_t>(value(0, 8));
    guid.Data2 = static_cast<uint16_t>(value(8, 4));
    guid.Data3 = static_cast<uint16_t>(value(12, 4));
    for (std::size_t i = 0; i < 8; ++i) guid.Data4[i] = static_cast<uint8_t>(value(16 + 2 * i, 2));
    return true;
}

}  // namespace qv
