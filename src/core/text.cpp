#include "core/text.h"

#include <cwctype>

namespace qv {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacement;
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (c >> 12)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (c >> 18)));
        out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

void AppendWide(std::wstring& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacement;
    if constexpr (sizeof(wchar_t) == 2) {
        if (c >= 0x10000) {
            c -= 0x10000;
            out.push_back(static_cast<wchar_t>(0xD800 + (c >> 10)));
            out.push_back(static_cast<wchar_t>(0xDC00 + (c & 0x3FF)));
            return;
        }
    }
    out.push_back(static_cast<wchar_t>(c));
}

// Walks UTF-16 code units (from either wide text or little-endian bytes) as
// code points; a lone surrogate becomes U+FFFD.
template <class UnitAt>
void ForEachUtf16CodePoint(std::size_t count, UnitAt unitAt, auto&& emit) {
    for (std::size_t i = 0; i < count; ++i) {
        char32_t u = unitAt(i);
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < count) {
            char32_t low = unitAt(i + 1);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                emit(0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00));
                ++i;
                continue;
            }
        }
        emit(u >= 0xD800 && u <= 0xDFFF ? kReplacement : u);
    }
}

template <class Emit>
void ForEachWideCodePoint(std::wstring_view text, Emit&& emit) {
    if constexpr (sizeof(wchar_t) == 2) {
        ForEachUtf16CodePoint(
            text.size(), [&](std::size_t i) { return static_cast<char32_t>(static_cast<uint16_t>(text[i])); }, emit);
    } else {
        for (wchar_t w : text) emit(static_cast<char32_t>(w));
    }
}

}  // namespace

std::string WideToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    ForEachWideCodePoint(text, [&](char32_t c) { AppendUtf8(out, c); });
    return out;
}

std::wstring Utf8ToWide(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    std::size_t i = 0;
    while (i < n) {
        unsigned char b = s[i];
        int extra;
        char32_t c;
        if (b < 0x80) {
            extra = 0;
            c = b;
        } else if (b >= 0xC2 && b <= 0xDF) {
            extra = 1;
            c = b & 0x1F;
        } else if (b >= 0xE0 && b <= 0xEF) {
            extra = 2;
            c = b & 0x0F;
        } else if (b >= 0xF0 && b <= 0xF4) {
            extra = 3;
            c = b & 0x07;
        } else {
            AppendWide(out, kReplacement);
            ++i;
            continue;
        }
        std::size_t j = 1;
        for (; j <= static_cast<std::size_t>(extra); ++j) {
            if (i + j >= n || (s[i + j] & 0xC0) != 0x80) break;
            c = (c << 6) | (s[i + j] & 0x3F);
        }
        if (j <= static_cast<std::size_t>(extra)) {
            // Truncated sequence: one replacement, then go on after what was valid.
            AppendWide(out, kReplacement);
            i += j;
            continue;
        }
        // Overlong forms and surrogates are not characters.
        if ((extra == 2 && c < 0x800) || (extra == 3 && (c < 0x10000 || c > 0x10FFFF)) ||
            (c >= 0xD800 && c <= 0xDFFF)) {
            c = kReplacement;
        }
        AppendWide(out, c);
        i += static_cast<std::size_t>(extra) + 1;
    }
    return out;
}

std::vector<uint8_t> WideToUtf16Le(std::wstring_view text) {
    std::vector<uint8_t> out;
    out.reserve(text.size() * 2);
    auto put = [&](char32_t unit) {
        out.push_back(static_cast<uint8_t>(unit & 0xFF));
        out.push_back(static_cast<uint8_t>((unit >> 8) & 0xFF));
    };
    ForEachWideCodePoint(text, [&](char32_t c) {
        if (c > 0x10FFFF) c = kReplacement;
        if (c >= 0x10000) {
            c -= 0x10000;
            put(0xD800 + (c >> 10));
            put(0xDC00 + (c & 0x3FF));
        } else {
            put(c);
        }
    });
    return out;
}

std::wstring Utf16LeToWide(const void* data, std::size_t size) {
    std::wstring out;
    const auto* b = static_cast<const uint8_t*>(data);
    const std::size_t units = size / 2;
    out.reserve(units);
    ForEachUtf16CodePoint(
        units, [&](std::size_t i) { return static_cast<char32_t>(b[2 * i] | (b[2 * i + 1] << 8)); },
        [&](char32_t c) { AppendWide(out, c); });
    return out;
}

std::wstring ToLowerWide(std::wstring_view text) {
    std::wstring out(text);
    for (auto& c : out) c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    return out;
}

bool StartsWithNoCase(std::wstring_view text, std::wstring_view word) {
    if (word.size() > text.size()) return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (std::towlower(static_cast<std::wint_t>(text[i])) != std::towlower(static_cast<std::wint_t>(word[i])))
            return false;
    }
    return true;
}

}  // namespace qv
