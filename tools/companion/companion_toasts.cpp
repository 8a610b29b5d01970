#include "companion_toasts.h"

namespace qv::companion {

namespace {

constexpr ToastButton kInstallButtons[] = {
    {"action=install_ext_yes", "Install", L"action=install_ext_yes", nullptr},
    {"action=install_ext_no", "Not now", L"action=install_ext_no", nullptr},
    {"dontShowAgain", "Don't show again", L"action=install_ext_no", L"dontShowAgain"},
};

constexpr ToastButton kNewDeviceButtons[] = {
    {"action=zkpa_personalize", "Personalize", L"action=zkpa_personalize", nullptr},
    {"action=zkpa_later", "Later", L"action=zkpa_later", nullptr},
};

constexpr Toast kToasts[] = {
    {L"ShowInstallChromeExtensionToast", "Better sound in Chrome",
     "Add the Quorvane extension to Chrome, and videos and music in the browser get the sound that suits them.",
     kInstallButtons},
    {L"ShowInstallEdgeExtensionToast", "Better sound in Edge",
     "Add the Quorvane extension to Edge, and videos and music in the browser get the sound that suits them.",
     kInstallButtons},
    {L"ShowNewDeviceConnectedToast", "New audio device", "A new audio device is connected. Personalize its sound now?",
     kNewDeviceButtons},
};

}  // namespace

const Toast* FindToast(const ValueSet& message) {
    for (const Toast& toast : kToasts) {
        auto entry = message.find(std::wstring(toast.name));
        if (entry != message.end() && entry->second == L"true") return &toast;
    }
    return nullptr;
}

std::optional<ValueSet> ActivatedRequest(const Toast& toast, std::string_view actionKey) {
    if (actionKey == "default") return ValueSet{{L"ToastState", L"Activated"}};
    for (const ToastButton& button : toast.buttons) {
        if (actionKey != button.actionKey) continue;
        ValueSet request{{L"ToastState", L"Activated"}, {L"ToastArguments", button.arguments}};
        if (button.userOptions) request[L"ToastUserOptions"] = button.userOptions;
        return request;
    }
    return std::nullopt;
}

ValueSet DismissedRequest() { return {{L"ToastState", L"Dismissed"}}; }

}  // namespace qv::companion
