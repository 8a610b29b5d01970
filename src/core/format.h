// printf-style formatting of the system's own format strings, with the same
// meaning on every platform: "%s" takes wide text in a wide format whatever
// the C library would do, "%i" an integer, "%hhX" a byte and so on.
#pragma once

#include <cstddef>
#include <string>

#include <fmt/printf.h>
#include <fmt/xchar.h>

namespace qv {

// Formats like swprintf into a buffer of bufferChars wide characters: the
// text is cut to bufferChars - 1 characters. A malformed format yields the
// format text itself rather than an exception.
template <class... Args>
std::wstring FormatWInto(std::size_t bufferChars, const wchar_t* format, const Args&... args) {
    std::wstring out;
    try {
        out = fmt::sprintf(format, args...);
    } catch (const fmt::format_error&) {
        out = format;
    }
    if (bufferChars > 0 && out.size() > bufferChars - 1) out.resize(bufferChars - 1);
    return out;
}

template <class... Args>
std::wstring FormatW(const wchar_t* format, const Args&... args) {
    return FormatWInto(0, format, args...);
}

template <class... Args>
std::string FormatA(const char* format, const Args&... args) {
    try {
        return fmt::sprintf(format, args...);
    } catch (const fmt::format_error&) {
        return format;
    }
}

// "0x" and the pointer as Windows prints "%p": sixteen upper-case hex digits.
std::wstring PointerArgument(const void* pointer);

}  // namespace qv
