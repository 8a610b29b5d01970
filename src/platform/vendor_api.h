// The closed endpoint parameter library ORBENT64: the effect engine's user
// parameters of an endpoint, and what it knows of browsers. It exists only
// where the vendor installs it; without it every call fails as the library's
// absence would.
#pragma once

#include <cstdint>
#include <string>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

using ORBAPI_HANDLE = uintptr_t;  // 0 is failure

struct IVendorApi : virtual IAddReleaseRef {
    virtual ORBAPI_HANDLE ORBAPOAPI_InitializeAPI() = 0;
    virtual ORBAPI_HANDLE ORBAPOAPI_GetEndpoint(ORBAPI_HANDLE api, const std::wstring& endpointId) = 0;
    virtual void ORBAPOAPI_SetAPOType(ORBAPI_HANDLE endpoint, const std::string& type) = 0;
    // size: on entry the room of value in bytes, on return what was written.
    virtual int32_t ORBAPOAPI_GetUserParameterEx(ORBAPI_HANDLE endpoint, int32_t first, int32_t second,
                                                 int32_t third, void* value, uint32_t& size) = 0;
    virtual void ORBAPOAPI_SetUserParameterEx(ORBAPI_HANDLE endpoint, int32_t first, int32_t second, int32_t third,
                                              const void* value, uint32_t size) = 0;
    virtual void ORBAPOAPI_FreeEndpoint(ORBAPI_HANDLE endpoint) = 0;
    virtual void ORBAPOAPI_FreeAPI(ORBAPI_HANDLE api) = 0;
    virtual int32_t ORBAPOAPI_GetLastError(ORBAPI_HANDLE api) = 0;
    virtual int32_t ORBMISCAPI_IsBrowserExtensionInstalled(const std::wstring& vendor, const std::wstring& browser,
                                                           const std::wstring& extensionId) = 0;
    virtual int32_t ORBMISCAPI_OpenBrowser(const std::wstring& vendor, const std::wstring& browser,
                                           const std::wstring& arguments) = 0;
};

}  // namespace qv
