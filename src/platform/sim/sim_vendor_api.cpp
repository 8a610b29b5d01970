#include "platform/sim/sim_vendor_api.h"

#include <algorithm>
#include <cstring>

namespace qv {

namespace {
constexpr int32_t kErrorNotFound = 1168;  // ERROR_NOT_FOUND, the sim's answer for an unknown endpoint
}

ORBAPI_HANDLE CSimVendorApi::ORBAPOAPI_InitializeAPI() {
    if (InitializeFails) return 0;
    std::lock_guard lock(m_mutex);
    const ORBAPI_HANDLE api = m_nextHandle++;
    m_apis.insert(api);
    return api;
}

ORBAPI_HANDLE CSimVendorApi::ORBAPOAPI_GetEndpoint(ORBAPI_HANDLE api, const std::wstring& endpointId) {
    std::lock_guard lock(m_mutex);
    if (!m_apis.count(api) || m_unknownEndpoints.count(endpointId)) {
        m_lastError = kErrorNotFound;
        return 0;
    }
    const ORBAPI_HANDLE endpoint = m_nextHandle++;
    m_endpoints[endpoint] = endpointId;
    return endpoint;
}

void CSimVendorApi::ORBAPOAPI_SetAPOType(ORBAPI_HANDLE, const std::string&) {}

int32_t CSimVendorApi::ORBAPOAPI_GetUserParameterEx(ORBAPI_HANDLE endpoint, int32_t first, int32_t second,
                                                    int32_t third, void* value, uint32_t& size) {
    std::lock_guard lock(m_mutex);
    auto id = m_endpoints.find(endpoint);
    if (id == m_endpoints.end()) return 0;
    const Address address{first, second, third};
    m_reads.emplace_back(id->second, address);
    const std::vector<uint8_t>* bytes = nullptr;
    if (auto own = m_parameters.find({id->second, address}); own != m_parameters.end())
        bytes = &own->second;
    else if (auto every = m_everyEndpoint.find(address); every != m_everyEndpoint.end())
        bytes = &every->second;
    if (!bytes) return 0;
    size = std::min<uint32_t>(size, static_cast<uint32_t>(bytes->size()));
    if (size) std::memcpy(value, bytes->data(), size);
    return 1;
}

void CSimVendorApi::ORBAPOAPI_SetUserParameterEx(ORBAPI_HANDLE endpoint, int32_t first, int32_t second, int32_t third,
                                                 const void* value, uint32_t size) {
    std::lock_guard lock(m_mutex);
    auto id = m_endpoints.find(endpoint);
    if (id == m_endpoints.end()) return;
    const auto* bytes = static_cast<const uint8_t*>(value);
    m_parameters[{id->second, Address{first, second, third}}].assign(bytes, bytes + size);
}

void CSimVendorApi::ORBAPOAPI_FreeEndpoint(ORBAPI_HANDLE endpoint) {
    std::lock_guard lock(m_mutex);
    m_endpoints.erase(endpoint);
}

void CSimVendorApi::ORBAPOAPI_FreeAPI(ORBAPI_HANDLE api) {
    std::lock_guard lock(m_mutex);
    m_apis.erase(api);
}

int32_t CSimVendorApi::ORBAPOAPI_GetLastError(ORBAPI_HANDLE) {
    std::lock_guard lock(m_mutex);
    return m_lastError;
}

int32_t CSimVendorApi::ORBMISCAPI_IsBrowserExtensionInstalled(const std::wstring&, const std::wstring&,
                                                              const std::wstring&) {
    return ExtensionInstalledAnswer;
}

int32_t CSimVendorApi::ORBMISCAPI_OpenBrowser(const std::wstring&, const std::wstring&, const std::wstring& arguments) {
    std::lock_guard lock(m_mutex);
    m_openedBrowsers.push_back(arguments);
    return OpenBrowserAnswer;
}

void CSimVendorApi::SetParameter(const std::wstring& endpointId, Address address, std::vector<uint8_t> value) {
    std::lock_guard lock(m_mutex);
    m_parameters[{endpointId, address}] = std::move(value);
}

void CSimVendorApi::RemoveParameter(const std::wstring& endpointId, Address address) {
    std::lock_guard lock(m_mutex);
    m_parameters.erase({endpointId, address});
}

void CSimVendorApi::SetParameterOfEveryEndpoint(Address address, std::vector<uint8_t> value) {
    std::lock_guard lock(m_mutex);
    m_everyEndpoint[address] = std::move(value);
}

std::vector<uint8_t> CSimVendorApi::Parameter(const std::wstring& endpointId, Address address) const {
    std::lock_guard lock(m_mutex);
    auto found = m_parameters.find({endpointId, address});
    return found == m_parameters.end() ? std::vector<uint8_t>() : found->second;
}

std::vector<std::wstring> CSimVendorApi::Reads(Address address) const {
    std::lock_guard lock(m_mutex);
    std::vector<std::wstring> ids;
    for (const auto& [id, read] : m_reads)
        if (read == address) ids.push_back(id);
    return ids;
}

std::vector<std::wstring> CSimVendorApi::OpenedBrowsers() const {
    std::lock_guard lock(m_mutex);
    return m_openedBrowsers;
}

size_t CSimVendorApi::OpenHandles() const {
    std::lock_guard lock(m_mutex);
    return m_apis.size() + m_endpoints.size();
}

void CSimVendorApi::ForgetEndpoint(const std::wstring& endpointId) {
    std::lock_guard lock(m_mutex);
    m_unknownEndpoints.insert(endpointId);
}

}  // namespace qv
