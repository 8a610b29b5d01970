#include "platform/pipe_namespace.h"

#include <cstdlib>

#include "core/text.h"

namespace qv {
namespace {

// Read once. Text that is too long or holds more than visible ASCII is
// ignored rather than half-used: two processes that disagree on the
// namespace would silently miss each other.
const std::wstring& PipeNamespace() {
    static const std::wstring value = [] {
        const char* text = std::getenv("QUORVANE_PIPE_NAMESPACE");
        if (!text || !*text) return std::wstring();
        const std::string ns(text);
        if (ns.size() > 32) return std::wstring();
        for (char c : ns)
            if (c <= ' ' || c > '~') return std::wstring();
        return std::wstring(ns.begin(), ns.end()) + L":";
    }();
    return value;
}

}  // namespace

std::wstring NamespacedPipeName(const std::wstring& name) {
    static constexpr std::wstring_view kPrefix = L"\\\\.\\pipe\\";
    const std::wstring& ns = PipeNamespace();
    if (ns.empty() || !StartsWithNoCase(name, kPrefix)) return name;
    return name.substr(0, kPrefix.size()) + ns + name.substr(kPrefix.size());
}

}  // namespace qv
