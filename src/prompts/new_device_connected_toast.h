// The invitation to personalise a newly connected device that has the LobeFit
// feature. The only memory is the endpoint's own LobeFit record: the user's
// "never" in it keeps the toast away, and an acceptance is written into it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "prompts/app_service_connection.h"
#include "prompts/vendor_endpoint.h"

namespace qv {

// The endpoint's LobeFit record as the library exchanges it. Bytes 0 to 8
// mean nothing to this system and go back as they came.
struct LobeFitConfig_t {
    std::array<uint8_t, 9> opaque{};
    uint8_t neverPrompt = 0;  // not 0: the user doesn't want the toast again
    uint8_t promptTest = 0;   // 1 once the user has accepted
};
static_assert(sizeof(LobeFitConfig_t) == 11, "the library's record is 11 bytes");

class CShowNewDeviceConnectedToast : public CAppServiceConnection {
public:
    CShowNewDeviceConnectedToast(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                 const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                 const CRefPtr<CContentClassifierLog>& log, const std::wstring& endpointId);

    void OnBeforeShowToast() override;
    void OnToastStateReceived() override;

    std::shared_ptr<LobeFitConfig_t> Configuration;

private:
    const std::wstring m_endpointId;
    CVendorEndpoint m_endpoint;
};

}  // namespace qv
