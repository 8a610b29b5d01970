// The portable half of the reference ORBENT64's browser questions.
#include <cwctype>

#include "orbent_system.h"

namespace orbent {

namespace {

bool SameNoCase(const std::wstring& text, const wchar_t* word) {
    std::size_t i = 0;
    for (; i < text.size() && word[i]; ++i)
        if (std::towlower(text[i]) != std::towlower(word[i])) return false;
    return i == text.size() && !word[i];
}

}  // namespace

Browser BrowserOf(const std::wstring& vendor, const std::wstring& browser) {
    if (SameNoCase(vendor, L"Google") && SameNoCase(browser, L"Chrome")) return Browser::Chrome;
    if (SameNoCase(vendor, L"Microsoft") && SameNoCase(browser, L"Edge")) return Browser::Edge;
    return Browser::Unknown;
}

bool IsPlainExtensionId(const std::wstring& id) {
    if (id.empty() || id.size() > 128) return false;
    for (wchar_t c : id)
        if (!((c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9'))) return false;
    return true;
}

std::vector<std::wstring> SplitArguments(const std::wstring& arguments) {
    std::vector<std::wstring> words;
    std::wstring word;
    bool inWord = false, quoted = false;
    for (wchar_t c : arguments) {
        if (c == L'"') {
            quoted = !quoted;
            inWord = true;
        } else if (!quoted && (c == L' ' || c == L'\t')) {
            if (inWord) words.push_back(std::move(word));
            word.clear();
            inWord = false;
        } else {
            word.push_back(c);
            inWord = true;
        }
    }
    if (inWord) words.push_back(std::move(word));
    return words;
}

}  // namespace orbent
