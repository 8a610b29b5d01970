#include "platform/linux/linux_command_line.h"

namespace qv {

namespace {
bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }
}  // namespace

std::vector<std::wstring> SplitCommandLine(const std::wstring& commandLine) {
    std::vector<std::wstring> arguments;
    const std::size_t size = commandLine.size();
    std::size_t at = 0;
    while (at < size && IsBlank(commandLine[at])) ++at;
    if (at == size) return arguments;

    // The program: no escapes at all.
    std::wstring program;
    if (commandLine[at] == L'"') {
        ++at;
        while (at < size && commandLine[at] != L'"') program += commandLine[at++];
        if (at < size) ++at;  // the closing quote
    } else {
        while (at < size && !IsBlank(commandLine[at])) program += commandLine[at++];
    }
    arguments.push_back(std::move(program));

    while (true) {
        while (at < size && IsBlank(commandLine[at])) ++at;
        if (at == size) break;
        std::wstring argument;
        int quotes = 0;  // 1 inside quotes
        std::size_t backslashes = 0;
        while (at < size) {
            const wchar_t c = commandLine[at];
            if (IsBlank(c) && quotes == 0) break;
            if (c == L'\\') {
                argument += c;
                ++backslashes;
                ++at;
                continue;
            }
            if (c != L'"') {
                argument += c;
                backslashes = 0;
                ++at;
                continue;
            }
            // A quote after backslashes: half of them stay.
            argument.resize(argument.size() - backslashes);
            argument.append(backslashes / 2, L'\\');
            ++at;
            if (backslashes % 2 == 1) {
                argument += L'"';
                backslashes = 0;
                continue;
            }
            backslashes = 0;
            ++quotes;
            // The run of quotes that follows counts in threes.
            while (at < size && commandLine[at] == L'"') {
                if (++quotes == 3) {
                    argument += L'"';
                    quotes = 0;
                }
                ++at;
            }
            if (quotes == 2) quotes = 0;
        }
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

}  // namespace qv
