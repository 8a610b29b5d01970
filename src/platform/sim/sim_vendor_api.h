// The vendor library as a test wants it: every endpoint is known unless told
// otherwise, parameters are bytes that the test sets and the model writes,
// and the browser answers are the test's. What the model read and wrote is
// kept for the test to look at.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "platform/vendor_api.h"

namespace qv {

class CSimVendorApi : public CAddReleaseRef, public IVendorApi {
public:
    using Address = std::tuple<int32_t, int32_t, int32_t>;

    ORBAPI_HANDLE ORBAPOAPI_InitializeAPI() override;
    ORBAPI_HANDLE ORBAPOAPI_GetEndpoint(ORBAPI_HANDLE api, const std::wstring& endpointId) override;
    void ORBAPOAPI_SetAPOType(ORBAPI_HANDLE endpoint, const std::string& type) override;
    int32_t ORBAPOAPI_GetUserParameterEx(ORBAPI_HANDLE endpoint, int32_t first, int32_t second, int32_t third,
                                         void* value, uint32_t& size) override;
    void ORBAPOAPI_SetUserParameterEx(ORBAPI_HANDLE endpoint, int32_t first, int32_t second, int32_t third,
                                      const void* value, uint32_t size) override;
    void ORBAPOAPI_FreeEndpoint(ORBAPI_HANDLE endpoint) override;
    void ORBAPOAPI_FreeAPI(ORBAPI_HANDLE api) override;
    int32_t ORBAPOAPI_GetLastError(ORBAPI_HANDLE api) override;
    int32_t ORBMISCAPI_IsBrowserExtensionInstalled(const std::wstring& vendor, const std::wstring& browser,
                                                   const std::wstring& extensionId) override;
    int32_t ORBMISCAPI_OpenBrowser(const std::wstring& vendor, const std::wstring& browser,
                                   const std::wstring& arguments) override;

    // A parameter of an endpoint; a parameter never set fails to read.
    void SetParameter(const std::wstring& endpointId, Address address, std::vector<uint8_t> value);
    void RemoveParameter(const std::wstring& endpointId, Address address);
    // A parameter of every endpoint that has no value of its own there.
    void SetParameterOfEveryEndpoint(Address address, std::vector<uint8_t> value);
    // What the model last wrote, or what the test set; empty when neither.
    std::vector<uint8_t> Parameter(const std::wstring& endpointId, Address address) const;
    // Endpoint ids in the order in which their parameter at address was read.
    std::vector<std::wstring> Reads(Address address) const;
    // The arguments of each OpenBrowser call.
    std::vector<std::wstring> OpenedBrowsers() const;
    // Handles still open (API and endpoint), for leak checks.
    size_t OpenHandles() const;

    std::atomic<bool> InitializeFails{false};
    std::atomic<int32_t> ExtensionInstalledAnswer{0};
    std::atomic<int32_t> OpenBrowserAnswer{1};
    void ForgetEndpoint(const std::wstring& endpointId);

private:
    mutable std::mutex m_mutex;
    ORBAPI_HANDLE m_nextHandle = 0x1000;
    std::set<ORBAPI_HANDLE> m_apis;
    std::map<ORBAPI_HANDLE, std::wstring> m_endpoints;
    std::set<std::wstring> m_unknownEndpoints;
    std::map<std::pair<std::wstring, Address>, std::vector<uint8_t>> m_parameters;
    std::map<Address, std::vector<uint8_t>> m_everyEndpoint;
    std::vector<std::pair<std::wstring, Address>> m_reads;
    std::vector<std::wstring> m_openedBrowsers;
    int32_t m_lastError = 0;
};

}  // namespace qv
