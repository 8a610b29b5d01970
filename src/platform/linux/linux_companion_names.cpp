#include "platform/linux/linux_companion_names.h"

namespace qv {

namespace {

constexpr std::string_view kBusNamePrefix = "com.quorvane.Companion.";
constexpr std::string_view kObjectPathPrefix = "/com/quorvane/Companion/";
constexpr std::size_t kMaximumBusName = 255;

bool IsAsciiAlphanumeric(wchar_t c) {
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9');
}

// One name part: letters, digits and '_' only, never empty, never a digit
// first.
std::string NamePart(std::wstring_view name) {
    std::string part;
    part.reserve(name.size() + 1);
    if (name.empty() || (name.front() >= L'0' && name.front() <= L'9')) part += '_';
    for (wchar_t c : name) part += IsAsciiAlphanumeric(c) ? static_cast<char>(c) : '_';
    return part;
}

}  // namespace

std::string CompanionBusName(std::wstring_view packageFamilyName) {
    std::string name(kBusNamePrefix);
    name += NamePart(packageFamilyName);
    if (name.size() > kMaximumBusName) return {};
    return name;
}

std::string CompanionObjectPath(std::wstring_view appServiceName) {
    return std::string(kObjectPathPrefix) + NamePart(appServiceName);
}

}  // namespace qv
