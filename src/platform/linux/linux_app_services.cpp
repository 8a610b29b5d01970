#include "platform/linux/linux_app_services.h"

#include <cerrno>

#include "platform/codes.h"
#include "platform/linux/linux_app_service_connection.h"
#include "platform/linux/linux_bus_queries.h"
#include "platform/linux/linux_companion_names.h"

namespace qv {

CLinuxAppServices::CLinuxAppServices(std::optional<std::string> busAddress) : m_busAddress(std::move(busAddress)) {}

Win32Error CLinuxAppServices::FindPackagesByPackageFamily(const std::wstring& familyName,
                                                          std::vector<uint32_t>& packageProperties) {
    packageProperties.clear();
    const std::string busName = CompanionBusName(familyName);
    if (busName.empty()) return ERROR_SUCCESS;
    CSdBus bus;
    if (OpenBoundedSessionBus(m_busAddress, bus) < 0) return ERROR_SERVICE_NOT_ACTIVE;
    CSdBusError error;
    bool present = false;
    if (int r = IsOwnedOrActivatable(bus.get(), busName, present, error); r < 0)
        return r == -ETIMEDOUT || error.Is(SD_BUS_ERROR_TIMEOUT) ? ERROR_TIMEOUT : ERROR_SERVICE_NOT_ACTIVE;
    if (present) packageProperties.push_back(0);
    return ERROR_SUCCESS;
}

HRESULT CLinuxAppServices::CreateAppServiceConnection(CRefPtr<IAppServiceConnection>& connection) {
    connection = MakeRef<CLinuxAppServiceConnection>(m_busAddress);
    return S_OK;
}

}  // namespace qv
