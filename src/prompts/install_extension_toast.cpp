#include "prompts/install_extension_toast.h"

#include <limits>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"
#include "prompts/extension_settings.h"
#include "prompts/toast_time.h"

namespace qv {

namespace {

constexpr uint32_t kFirstIntervalSeconds = 43200;  // 12 hours

CRefPtr<IFiles> FilesPort() {
    CRefPtr<IPlatform> platform = GetPlatform();
    return platform ? platform->Files() : nullptr;
}

std::tm Now() {
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<ISystem> system = platform ? platform->System() : nullptr;
    return LocalTimeOf(system ? system->GetSystemTimeAsFileTime() : FILETIME{});
}

// Twice the interval; an interval that has grown past 68 years stays at the
// largest one rather than wrapping round to a short wait.
uint32_t NextInterval(uint32_t interval) {
    if (interval == 0) return kFirstIntervalSeconds;
    return interval > std::numeric_limits<uint32_t>::max() / 2 ? std::numeric_limits<uint32_t>::max() : interval * 2;
}

}  // namespace

CShowInstallBrowserExtensionToast::CShowInstallBrowserExtensionToast(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                                                     const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                                                     const CRefPtr<CContentClassifierLog>& log,
                                                                     const BrowserExtensionOffer& offer)
    : CAppServiceConnection(traceTarget, dispatcher, log),
      ShowKey("ShowInstall" + WideToUtf8(offer.browserName) + "ExtensionToast"),
      LastTimeKey("Install" + WideToUtf8(offer.browserName) + "ExtensionToastLastTime"),
      IntervalKey("Install" + WideToUtf8(offer.browserName) + "ExtensionToastIntervalSeconds"),
      m_offer(offer),
      m_browserNameNarrow(WideToUtf8(offer.browserName)),
      m_endpoint(TraceRecord(), offer.endpointId) {
    QV_TRACE_SCOPE(L"CShowInstallBrowserExtensionToast::CShowInstallBrowserExtensionToast",
                   L"extensionId = " + offer.extensionId);
    ToastName = L"ShowInstall" + offer.browserName + L"ExtensionToast";
    CanConnect = m_endpoint.HasEndpoint();
}

std::wstring CShowInstallBrowserExtensionToast::SettingsFolder() {
    CRefPtr<IFiles> files = FilesPort();
    std::wstring localAppData;
    if (!files) return {};
    if (HRESULT hr = files->GetLocalAppDataFolder(localAppData); hr < 0) {
        Trace(L"Failed to retrieve AppData folder path with error %i\n", hr);
        return {};
    }
    return ExtensionSettingsFolder(localAppData);
}

nlohmann::json CShowInstallBrowserExtensionToast::LoadExtensionSettings() {
    m_intervalSeconds = 0;
    m_secondsElapsed = 0;
    const std::tm nowTime = Now();
    const int64_t now = ToastClock(nowTime);
    m_currentTime = FormatToastTime(nowTime);
    Trace(L"Install%sExtensionToastCurrentTime = %s\n", m_offer.browserName, Utf8ToWide(m_currentTime));

    nlohmann::json settings = nlohmann::json::object();
    const std::wstring folder = SettingsFolder();
    if (folder.empty()) return settings;
    const std::wstring path = folder + m_offer.extensionId + L".json";
    Trace(L"Settings file path = %s\n", path);
    std::vector<uint8_t> content;
    CRefPtr<IFiles> files = FilesPort();
    if (files->ReadWholeFile(path, content) != ERROR_SUCCESS) {
        Trace(L"Settings file doesn't exist\n");
    } else {
        // A file that is no settings object is read as the defaults.
        settings = ParseExtensionSettings(content);
        ShowToast = BoolSetting(settings, ShowKey, true);
        Trace(ShowToast ? L"ShowToast = true\n" : L"ShowToast = false\n");
    }

    if (!BoolSetting(settings, ShowKey, true)) {
        Trace(L"ShowInstall%sExtensionToast = false\n", m_offer.browserName);
        ShowToast = false;
        Trace(L"Show toast = false\n");
        return settings;
    }
    Trace(L"ShowInstall%sExtensionToast = true\n", m_offer.browserName);
    const std::string lastTime = TextSetting(settings, LastTimeKey);
    Trace(L"Install%sExtensionToastLastTime = %s\n", m_offer.browserName, Utf8ToWide(lastTime));
    std::tm last{};
    if (lastTime.empty() || !ParseToastTime(lastTime, last)) {
        Trace(L"Failed to retrieve current time.\n");
        return settings;
    }
    // Reduced to 32 bits and compared unsigned: a clock set back gives a huge
    // elapsed time, and the toast shows.
    m_secondsElapsed = static_cast<uint32_t>(now - ToastClock(last));
    Trace(L"secondsElapsed = %i\n", static_cast<int32_t>(m_secondsElapsed));
    m_intervalSeconds = SecondsSetting(settings, IntervalKey);
    Trace(L"intervalSeconds = %i\n", static_cast<int32_t>(m_intervalSeconds));
    if (m_secondsElapsed < m_intervalSeconds) {
        ShowToast = false;
        Trace(L"Hasn't timed out yet, skip the toast\n");
        Trace(L"Show toast = false\n");
    }
    return settings;
}

void CShowInstallBrowserExtensionToast::SaveExtensionSettings(const nlohmann::json& settings) {
    const std::wstring folder = SettingsFolder();
    if (folder.empty()) return;
    Trace(L"Settings file directory = %s\n", folder);
    CRefPtr<IFiles> files = FilesPort();
    CreateFolders(*files, folder);
    const std::wstring path = folder + m_offer.extensionId + L".json";
    Trace(L"Settings file path = %s\n", path);
    WriteFileAtomically(*files, path, SerializeExtensionSettings(settings));
}

void CShowInstallBrowserExtensionToast::OnBeforeShowToast() {
    ShowToast = false;
    if (AppFamily == 0) {
        if (m_endpoint.ReadFlag(kAutoPresetAvailable)) {
            Trace(L"Endpoint has AutoPreset\n");
            ShowToast = true;
            nlohmann::json settings = LoadExtensionSettings();
            // The showing counts from the decision, not from the toast's
            // appearance, so a toast that never appears still backs off.
            if (ShowToast) {
                settings[LastTimeKey] = m_currentTime;
                settings[IntervalKey] = NextInterval(m_intervalSeconds);
                SaveExtensionSettings(settings);
            }
        }
    } else if (AppFamily == 1) {
        Trace(L"TWQ\n");
    }
}

void CShowInstallBrowserExtensionToast::OnToastStateReceived() {
    if (ToastState != L"Dismissed" && ToastState != L"Activated") return;
    Trace(L"Toast state = %s\n", ToastState);
    if (AppFamily == 1) {
        Trace(L"TWQ\n");
        return;
    }
    if (AppFamily != 0) return;
    Trace(L"ZK PA\n");
    // A dismissal leaves the interval that the showing already wrote.
    if (ToastState != L"Activated") return;
    const std::wstring arguments = LastMessageText(L"ToastArguments");
    Trace(L"ToastArguments = %s\n", arguments);
    if (arguments == L"action=install_ext_yes") {
        CRefPtr<IPlatform> platform = GetPlatform();
        CRefPtr<IVendorApi> vendor = platform ? platform->VendorApi() : nullptr;
        const int32_t opened =
            vendor ? vendor->ORBMISCAPI_OpenBrowser(m_offer.vendor, m_offer.browserName, m_offer.browserArguments) : 0;
        // Once the store has been opened the back-off starts afresh.
        if (opened != 1) {
            nlohmann::json settings = LoadExtensionSettings();
            settings.erase(LastTimeKey);
            settings.erase(IntervalKey);
            SaveExtensionSettings(settings);
        }
    } else if (arguments == L"action=install_ext_no") {
        Trace(L"Dissmissed\n");
        const std::wstring options = LastMessageText(L"ToastUserOptions");
        Trace(L"ToastUserOptions = %s\n", options);
        if (options == L"dontShowAgain") {
            nlohmann::json settings = LoadExtensionSettings();
            settings[ShowKey] = false;
            SaveExtensionSettings(settings);
        }
    }
}

}  // namespace qv
