// The vendor library port over a loaded ORBENT64: the ten exports found by
// name, called with the model's values. The platforms load the library their
// own way and hand over what they found together with the object that keeps
// the library loaded. Without all ten exports the library counts as absent:
// every call then fails as the absence of the library would.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/orbent_exports.h"
#include "platform/vendor_api.h"

namespace qv {

struct VendorLibraryExports {
    decltype(&ORBAPOAPI_InitializeAPI) initializeApi = nullptr;
    decltype(&ORBAPOAPI_GetEndpoint) getEndpoint = nullptr;
    decltype(&ORBAPOAPI_SetAPOType) setApoType = nullptr;
    decltype(&ORBAPOAPI_GetUserParameterEx) getUserParameter = nullptr;
    decltype(&ORBAPOAPI_SetUserParameterEx) setUserParameter = nullptr;
    decltype(&ORBAPOAPI_FreeEndpoint) freeEndpoint = nullptr;
    decltype(&ORBAPOAPI_FreeAPI) freeApi = nullptr;
    decltype(&ORBAPOAPI_GetLastError) getLastError = nullptr;
    decltype(&ORBMISCAPI_IsBrowserExtensionInstalled) isBrowserExtensionInstalled = nullptr;
    decltype(&ORBMISCAPI_OpenBrowser) openBrowser = nullptr;
};

// The library's file name beside the program on this platform.
#ifdef _WIN32
inline constexpr wchar_t kVendorLibraryFileName[] = L"ORBENT64.dll";
#else
inline constexpr wchar_t kVendorLibraryFileName[] = L"libORBENT64.so";
#endif

// Fills exports through find (GetProcAddress, dlsym). On a missing export it
// stops, sets missing to its name and returns false.
bool ResolveVendorExports(const std::function<void*(const char*)>& find, VendorLibraryExports& exports,
                          std::string& missing);

// The port. keepLoaded owns the loaded library and goes after the last call.
// When the exports are not all there, loadError (a Win32 error number) is what
// GetLastError answers, and nothing of the library is called.
class CVendorLibraryApi : public CAddReleaseRef, public IVendorApi {
public:
    CVendorLibraryApi(std::shared_ptr<void> keepLoaded, const VendorLibraryExports& exports, bool complete,
                      Win32Error loadError);
    // The port of a system without the library.
    static CRefPtr<IVendorApi> Absent(Win32Error loadError);

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

private:
    const std::shared_ptr<void> m_keepLoaded;
    const VendorLibraryExports m_exports;
    const bool m_present;
    const Win32Error m_loadError;
};

// The folder of a program's path, up to and including its last separator
// ("/" or "\\"); empty when the path has none.
std::wstring ProgramFolderOf(const std::wstring& executable);

// The line that the platforms trace once when the library or one of its
// exports is missing.
std::wstring VendorLibraryAbsentLine(const std::wstring& path, Win32Error error, const std::string& missingExport);
// The line that says from where the library was loaded, so that a trace
// shows which of several copies the program uses.
std::wstring VendorLibraryLoadedLine(const std::wstring& path);

}  // namespace qv
