// The app-service port over the Windows Runtime ABI: the companion app's
// packages through kernel32's FindPackagesByPackageFamily, and
// Windows.ApplicationModel.AppService.AppServiceConnection activated with
// RoActivateInstance.
// The connection itself is in win32_app_service_connection.h.
#pragma once

#include "platform/app_service.h"

namespace qv {

class CWin32AppServices : public CAddReleaseRef, public IAppServices {
public:
    // ERROR_CALL_NOT_IMPLEMENTED where kernel32 has no such function
    // (Windows 7, and Wine).
    Win32Error FindPackagesByPackageFamily(const std::wstring& familyName,
                                           std::vector<uint32_t>& packageProperties) override;
    // The failure of the activation as the runtime gives it:
    // REGDB_E_CLASSNOTREG where the class is not registered.
    HRESULT CreateAppServiceConnection(CRefPtr<IAppServiceConnection>& connection) override;
};

}  // namespace qv
