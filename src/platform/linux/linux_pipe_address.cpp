#include "platform/linux/linux_pipe_address.h"

#include <cstddef>
#include <cstring>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/pipe_namespace.h"

namespace qv {

Win32Error PipeAddressFromName(const std::wstring& name, PipeAddress& address) {
    static constexpr std::wstring_view kPrefix = L"\\\\.\\pipe\\";
    if (!StartsWithNoCase(name, kPrefix) || name.size() == kPrefix.size()) return kErrorInvalidName;
    std::string text = WideToUtf8(NamespacedPipeName(std::wstring(kPrefix) + name.substr(kPrefix.size())));
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
