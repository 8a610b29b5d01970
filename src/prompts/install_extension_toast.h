// The offer of the browser add-on, made when a supported browser plays on an
// endpoint with the automatic preset and its add-on is missing. The offer
// backs off: after each showing the wait before the next one doubles, from 12
// hours on, and the user may say never. That memory is the add-on's settings
// file; the decision counts as a showing as soon as it is made.
#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "prompts/app_service_connection.h"
#include "prompts/vendor_endpoint.h"

namespace qv {

struct BrowserExtensionOffer {
    std::wstring endpointId;
    std::wstring extensionId;  // the add-on's id in the browser maker's store
    std::wstring vendor;       // "Microsoft" or "Google"
    std::wstring browserName;  // "Edge" or "Chrome"
    std::wstring browserArguments;
};

class CShowInstallBrowserExtensionToast : public CAppServiceConnection {
public:
    CShowInstallBrowserExtensionToast(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                      const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                      const CRefPtr<CContentClassifierLog>& log, const BrowserExtensionOffer& offer);

    void OnBeforeShowToast() override;
    void OnToastStateReceived() override;

    // The settings as they are now, with the clock read and ShowToast
    // decided from them.
    nlohmann::json LoadExtensionSettings();
    void SaveExtensionSettings(const nlohmann::json& settings);

    const std::string ShowKey;
    const std::string LastTimeKey;
    const std::string IntervalKey;

private:
    std::wstring SettingsFolder();

    const BrowserExtensionOffer m_offer;
    const std::string m_browserNameNarrow;
    CVendorEndpoint m_endpoint;
    uint32_t m_intervalSeconds = 0;
    uint32_t m_secondsElapsed = 0;
    std::string m_currentTime;
};

}  // namespace qv
