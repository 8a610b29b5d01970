// The reference ORBENT64: the ten exports over the parameter file and the
// browsers' folders. Handles are objects of this library, checked against
// the live ones before use, so a stale handle fails instead of crashing. A
// test double is the same file built with a fixed answer (see CMakeLists).
#include <cstring>
#include <mutex>
#include <set>

#include "core/text.h"
#include "orbent_parameters.h"
#include "orbent_system.h"
#include "platform/orbent_exports.h"

namespace {

// The library's failure codes are the system's error numbers.
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kInvalidParameter = 87;
constexpr uint32_t kInsufficientBuffer = 122;
constexpr uint32_t kNotFound = 1168;

struct Api {
    uint32_t lastError = 0;
};
struct Endpoint {
    Api* api;
    std::string id;  // UTF-8, as the file keys it
    std::string apoType;
};

// One lock for the handles, the last errors and the file: the library may be
// called from any thread.
std::mutex g_mutex;
std::set<Api*> g_apis;
std::set<Endpoint*> g_endpoints;
uint32_t g_lastError = 0;  // of the last failure of any caller

uint32_t Fail(Api* api, uint32_t error) {
    g_lastError = error;
    if (api) api->lastError = error;
    return error;
}

Endpoint* LiveEndpoint(void* handle) {
    auto* endpoint = static_cast<Endpoint*>(handle);
    return g_endpoints.count(endpoint) ? endpoint : nullptr;
}

bool IsAvailabilityKey(int32_t first, int32_t second, int32_t third) {
    // The auto-preset and LobeFit availability: a single byte, 0 unless the
    // file says otherwise.
    return first == -1 && third == -1 && (second == -37 || second == -36);
}

}  // namespace

ORBENT_EXPORT void* ORBAPOAPI_InitializeAPI(void) {
#ifdef QV_ORBENT_WITHOUT_API
    std::lock_guard lock(g_mutex);
    Fail(nullptr, kNotFound);
    return nullptr;
#else
    std::lock_guard lock(g_mutex);
    Api* api = new Api;
    g_apis.insert(api);
    return api;
#endif
}

ORBENT_EXPORT void* ORBAPOAPI_GetEndpoint(void* api, const wchar_t* endpointId, int32_t) {
    std::lock_guard lock(g_mutex);
    Api* owner = g_apis.count(static_cast<Api*>(api)) ? static_cast<Api*>(api) : nullptr;
    if (!owner) return Fail(nullptr, kInvalidHandle), nullptr;
    if (!endpointId || !*endpointId) return Fail(owner, kInvalidParameter), nullptr;
    Endpoint* endpoint = new Endpoint{owner, qv::WideToUtf8(endpointId), {}};
    g_endpoints.insert(endpoint);
    return endpoint;
}

ORBENT_EXPORT int32_t ORBAPOAPI_SetAPOType(void* handle, const char* type) {
    std::lock_guard lock(g_mutex);
    Endpoint* endpoint = LiveEndpoint(handle);
    if (!endpoint) return Fail(nullptr, kInvalidHandle), 0;
    if (!type) return Fail(endpoint->api, kInvalidParameter), 0;
    endpoint->apoType = type;
    return 1;
}

ORBENT_EXPORT int32_t ORBAPOAPI_GetUserParameterEx(void* handle, int32_t first, int32_t second, int32_t third,
                                                   void* value, uint32_t* size, int32_t, int32_t) {
    std::lock_guard lock(g_mutex);
    Endpoint* endpoint = LiveEndpoint(handle);
    if (!endpoint) return Fail(nullptr, kInvalidHandle), 0;
    if (!size || (!value && *size != 0)) return Fail(endpoint->api, kInvalidParameter), 0;

    std::string text;
    const orbent::ParameterTable table =
        orbent::ReadParameterText(text) ? orbent::ParseParameterFile(text) : orbent::ParameterTable{};
    orbent::ParameterValue found;
    bool known = false;
    if (auto e = table.find(endpoint->id); e != table.end()) {
        if (auto p = e->second.find(orbent::ParameterKey(first, second, third)); p != e->second.end()) {
            found = p->second;
            known = true;
        }
    }
    if (!known && IsAvailabilityKey(first, second, third)) {
        found = {0};
        known = true;
    }
    if (!known) {
        *size = 0;
        return Fail(endpoint->api, kNotFound), 0;
    }
    if (found.size() > *size) {
        // What it would take, as the system's calls answer a short buffer.
        *size = static_cast<uint32_t>(found.size());
        return Fail(endpoint->api, kInsufficientBuffer), 0;
    }
    if (!found.empty()) std::memcpy(value, found.data(), found.size());
    *size = static_cast<uint32_t>(found.size());
    return 1;
}

ORBENT_EXPORT int32_t ORBAPOAPI_SetUserParameterEx(void* handle, int32_t first, int32_t second, int32_t third,
                                                   const void* value, uint32_t size, int32_t, int32_t, int32_t,
                                                   int32_t) {
    std::lock_guard lock(g_mutex);
    Endpoint* endpoint = LiveEndpoint(handle);
    if (!endpoint) return Fail(nullptr, kInvalidHandle), 0;
    if ((!value && size != 0) || size > orbent::kLargestValue) return Fail(endpoint->api, kInvalidParameter), 0;

    std::string text;
    orbent::ParameterTable table =
        orbent::ReadParameterText(text) ? orbent::ParseParameterFile(text) : orbent::ParameterTable{};
    const auto* bytes = static_cast<const uint8_t*>(value);
    table[endpoint->id][orbent::ParameterKey(first, second, third)] = orbent::ParameterValue(bytes, bytes + size);
    if (const uint32_t error = orbent::WriteParameterText(orbent::SerializeParameterFile(table)))
        return Fail(endpoint->api, error), 0;
    return 1;
}

ORBENT_EXPORT int32_t ORBAPOAPI_FreeEndpoint(void* handle) {
    std::lock_guard lock(g_mutex);
    Endpoint* endpoint = LiveEndpoint(handle);
    if (!endpoint) return Fail(nullptr, kInvalidHandle), 0;
    g_endpoints.erase(endpoint);
    delete endpoint;
    return 1;
}

ORBENT_EXPORT int32_t ORBAPOAPI_FreeAPI(void* handle) {
    std::lock_guard lock(g_mutex);
    auto* api = static_cast<Api*>(handle);
    if (!g_apis.count(api)) return Fail(nullptr, kInvalidHandle), 0;
    // Endpoints of the API go with it: their handles fail from now on.
    for (auto it = g_endpoints.begin(); it != g_endpoints.end();) {
        if ((*it)->api == api) {
            delete *it;
            it = g_endpoints.erase(it);
        } else {
            ++it;
        }
    }
    g_apis.erase(api);
    delete api;
    return 1;
}

ORBENT_EXPORT uint32_t ORBAPOAPI_GetLastError(void* apiOrNull) {
    std::lock_guard lock(g_mutex);
    auto* api = static_cast<Api*>(apiOrNull);
    return g_apis.count(api) ? api->lastError : g_lastError;
}

ORBENT_EXPORT int32_t ORBMISCAPI_IsBrowserExtensionInstalled(const wchar_t* vendor, const wchar_t* browser,
                                                             const wchar_t* extensionId) {
#ifdef QV_ORBENT_EXTENSION_MISSING
    return 1;
#else
    if (!vendor || !browser || !extensionId) return 0;
    const orbent::Browser which = orbent::BrowserOf(vendor, browser);
    if (which == orbent::Browser::Unknown || !orbent::IsPlainExtensionId(extensionId)) return 0;
    switch (orbent::ExtensionStateOf(which, extensionId)) {
        case orbent::ExtensionState::Missing: return 1;
        case orbent::ExtensionState::Installed: return 2;
        default: return 0;
    }
#endif
}

#ifndef QV_ORBENT_WITHOUT_OPEN_BROWSER
ORBENT_EXPORT int32_t ORBMISCAPI_OpenBrowser(const wchar_t* vendor, const wchar_t* browser, const wchar_t* arguments,
                                             int32_t) {
    if (!vendor || !browser) return 0;
    const orbent::Browser which = orbent::BrowserOf(vendor, browser);
    if (which == orbent::Browser::Unknown) return 0;
    return orbent::StartBrowser(which, arguments ? arguments : L"") ? 1 : 0;
}
#endif
