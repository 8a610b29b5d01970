#include "platform/linux/linux_pipe_address.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "core/text.h"
#include "platform/codes.h"

namespace qv {
namespace {

// QUORVANE_PIPE_NAMESPACE, read once. Text that is too long or holds more
// than visible ASCII is ignored rather than half-used: two processes that
// disagree on the namespace would silently miss each other.
const std::string& PipeNamespace() {
    static const std::string value = [] {
        const char* text = std::getenv("QUORVANE_PIPE_NAMESPACE");
        if (!text) return std::string();
        std::string ns(text);
        if (ns.size() > 32) return std::string();
        for (char c : ns)
            if (c <= ' ' || c > '~') return std::string();
        return ns.empty() ? ns : ns + ":";
    }();
    return value;
}

}  // namespace

Win32Error PipeAddressFromName(const std::wstring& name, PipeAddress& address) {
    static constexpr std::wstring_view kPrefix = L"\\\\.\\pipe\\";
    if (!StartsWithNoCase(name, kPrefix) || name.size() == kPrefix.size()) return kErrorInvalidName;
    std::string text = PipeNamespace() + WideToUtf8(std::wstring(kPrefix) + name.substr(kPrefix.size()));
    // The first byte of sun_path is the zero that marks the abstract namespace.
    if (text.size() > sizeof(address.address.sun_path) - 1) return ERROR_FILENAME_EXCED_RANGE;
    address = PipeAddress{};
    address.address.sun_family = AF_UNIX;
    std::memcpy(address.address.sun_path + 1, text.data(), text.size());
    address.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + text.size());
    address.abstractName = std::move(text);
    return ERROR_SUCCESS;
}

}  // namespace qv
