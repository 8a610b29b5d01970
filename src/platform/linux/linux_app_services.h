// The app-service port on Linux: the companion app is a program on the
// user's session bus (linux_companion_names.h says how it is named and what
// it serves; linux_app_service_connection.h what a connection answers).
//
// FindPackagesByPackageFamily gives one package, properties 0, when the
// family's bus name has an owner or the bus can start it, and none
// otherwise (also for a family name that cannot become a bus name). Without
// a session bus it fails with ERROR_SERVICE_NOT_ACTIVE, and with
// ERROR_TIMEOUT when the bus does not answer in time. Each call uses a bus
// connection of its own, made and closed on the caller's thread.
#pragma once

#include <optional>
#include <string>

#include "platform/app_service.h"

namespace qv {

class CLinuxAppServices : public CAddReleaseRef, public IAppServices {
public:
    // The session bus ($DBUS_SESSION_BUS_ADDRESS), or the bus at the address.
    explicit CLinuxAppServices(std::optional<std::string> busAddress = std::nullopt);

    Win32Error FindPackagesByPackageFamily(const std::wstring& familyName,
                                           std::vector<uint32_t>& packageProperties) override;
    HRESULT CreateAppServiceConnection(CRefPtr<IAppServiceConnection>& connection) override;

private:
    const std::optional<std::string> m_busAddress;
};

}  // namespace qv
