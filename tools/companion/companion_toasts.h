// The toasts that the companion shows for this system, and how the user's
// answer on the desktop's notification becomes the request that goes back:
// each button's action key and the request it makes. Clicking the
// notification itself ("default") activates it without arguments; closing
// it dismisses it.
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "platform/app_service.h"

namespace qv::companion {

struct ToastButton {
    const char* actionKey;
    const char* label;
    const wchar_t* arguments;    // ToastArguments
    const wchar_t* userOptions;  // ToastUserOptions, or null
};

struct Toast {
    std::wstring_view name;  // the message's key, with the value "true"
    const char* summary;
    const char* body;
    std::span<const ToastButton> buttons;
};

inline constexpr const char* kAppName = "Quorvane Companion";

// The toast that the message asks for, or null when it names none.
const Toast* FindToast(const ValueSet& message);
// The request for an action of the toast; nothing for a key it never
// offered.
std::optional<ValueSet> ActivatedRequest(const Toast& toast, std::string_view actionKey);
ValueSet DismissedRequest();

}  // namespace qv::companion
