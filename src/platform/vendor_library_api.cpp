#include "platform/vendor_library_api.h"

#include "core/text.h"

namespace qv {

namespace {

template <class Function>
bool Resolve(const std::function<void*(const char*)>& find, const char* name, Function& slot, std::string& missing) {
    slot = reinterpret_cast<Function>(find(name));
    if (!slot) missing = name;
    return slot != nullptr;
}

void* AsPointer(ORBAPI_HANDLE handle) { return reinterpret_cast<void*>(handle); }

}  // namespace

bool ResolveVendorExports(const std::function<void*(const char*)>& find, VendorLibraryExports& exports,
                          std::string& missing) {
    VendorLibraryExports& e = exports;
    return Resolve(find, "ORBAPOAPI_InitializeAPI", e.initializeApi, missing) &&
           Resolve(find, "ORBAPOAPI_GetEndpoint", e.getEndpoint, missing) &&
           Resolve(find, "ORBAPOAPI_SetAPOType", e.setApoType, missing) &&
           Resolve(find, "ORBAPOAPI_GetUserParameterEx", e.getUserParameter, missing) &&
           Resolve(find, "ORBAPOAPI_SetUserParameterEx", e.setUserParameter, missing) &&
           Resolve(find, "ORBAPOAPI_FreeEndpoint", e.freeEndpoint, missing) &&
           Resolve(find, "ORBAPOAPI_FreeAPI", e.freeApi, missing) &&
           Resolve(find, "ORBAPOAPI_GetLastError", e.getLastError, missing) &&
           Resolve(find, "ORBMISCAPI_IsBrowserExtensionInstalled", e.isBrowserExtensionInstalled, missing) &&
           Resolve(find, "ORBMISCAPI_OpenBrowser", e.openBrowser, missing);
}

CVendorLibraryApi::CVendorLibraryApi(std::shared_ptr<void> keepLoaded, const VendorLibraryExports& exports,
                                     bool complete, Win32Error loadError)
    // A library without all of its exports is not called at all, so it need
    // not stay loaded either.
    : m_keepLoaded(complete ? std::move(keepLoaded) : nullptr),
      m_exports(complete ? exports : VendorLibraryExports{}),
      m_present(complete),
      m_loadError(loadError) {}

CRefPtr<IVendorApi> CVendorLibraryApi::Absent(Win32Error loadError) {
    return MakeRef<CVendorLibraryApi>(nullptr, VendorLibraryExports{}, false, loadError);
}

ORBAPI_HANDLE CVendorLibraryApi::ORBAPOAPI_InitializeAPI() {
    if (!m_present) return 0;
    return reinterpret_cast<ORBAPI_HANDLE>(m_exports.initializeApi());
}

ORBAPI_HANDLE CVendorLibraryApi::ORBAPOAPI_GetEndpoint(ORBAPI_HANDLE api, const std::wstring& endpointId) {
    if (!m_present) return 0;
    return reinterpret_cast<ORBAPI_HANDLE>(m_exports.getEndpoint(AsPointer(api), endpointId.c_str(), 0));
}

void CVendorLibraryApi::ORBAPOAPI_SetAPOType(ORBAPI_HANDLE endpoint, const std::string& type) {
    if (m_present) m_exports.setApoType(AsPointer(endpoint), type.c_str());
}

int32_t CVendorLibraryApi::ORBAPOAPI_GetUserParameterEx(ORBAPI_HANDLE endpoint, int32_t first, int32_t second,
                                                        int32_t third, void* value, uint32_t& size) {
    if (!m_present) {
        size = 0;
        return 0;
    }
    return m_exports.getUserParameter(AsPointer(endpoint), first, second, third, value, &size, 0, 0);
}

void CVendorLibraryApi::ORBAPOAPI_SetUserParameterEx(ORBAPI_HANDLE endpoint, int32_t first, int32_t second,
                                                     int32_t third, const void* value, uint32_t size) {
    if (m_present) m_exports.setUserParameter(AsPointer(endpoint), first, second, third, value, size, 1, 0, 0, 0);
}

void CVendorLibraryApi::ORBAPOAPI_FreeEndpoint(ORBAPI_HANDLE endpoint) {
    if (m_present) m_exports.freeEndpoint(AsPointer(endpoint));
}

void CVendorLibraryApi::ORBAPOAPI_FreeAPI(ORBAPI_HANDLE api) {
    if (m_present) m_exports.freeApi(AsPointer(api));
}

int32_t CVendorLibraryApi::ORBAPOAPI_GetLastError(ORBAPI_HANDLE api) {
    if (!m_present) return static_cast<int32_t>(m_loadError);
    return static_cast<int32_t>(m_exports.getLastError(AsPointer(api)));
}

int32_t CVendorLibraryApi::ORBMISCAPI_IsBrowserExtensionInstalled(const std::wstring& vendor,
                                                                  const std::wstring& browser,
                                                                  const std::wstring& extensionId) {
    if (!m_present) return 0;
    return m_exports.isBrowserExtensionInstalled(vendor.c_str(), browser.c_str(), extensionId.c_str());
}

int32_t CVendorLibraryApi::ORBMISCAPI_OpenBrowser(const std::wstring& vendor, const std::wstring& browser,
                                                  const std::wstring& arguments) {
    if (!m_present) return 0;
    return m_exports.openBrowser(vendor.c_str(), browser.c_str(), arguments.c_str(), 1);
}

std::wstring ProgramFolderOf(const std::wstring& executable) {
    const std::size_t last = executable.find_last_of(L"/\\");
    return last == std::wstring::npos ? std::wstring() : executable.substr(0, last + 1);
}

std::wstring VendorLibraryAbsentLine(const std::wstring& path, Win32Error error, const std::string& missingExport) {
    std::wstring line = L"Vendor library " + path;
    if (missingExport.empty())
        line += L" not loaded with error code " + std::to_wstring(error);
    else
        line += L" lacks " + Utf8ToWide(missingExport);
    return line + L"; the endpoint parameters and browser offers are off\n";
}

std::wstring VendorLibraryLoadedLine(const std::wstring& path) { return L"Vendor library " + path + L" loaded\n"; }

}  // namespace qv
