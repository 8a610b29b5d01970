#include "prompts/vendor_endpoint.h"

#include "platform/platform.h"

namespace qv {

namespace {
template <class... Args>
void TraceLine(DBG_TRACE* trace, const wchar_t* format, const Args&... args) {
    if (TraceEnabled(trace)) DBG_TRACE_Print(trace, format, args...);
}
}  // namespace

CVendorEndpoint::CVendorEndpoint(DBG_TRACE* trace, const std::wstring& endpointId) : m_trace(trace) {
    CRefPtr<IPlatform> platform = GetPlatform();
    m_api = platform ? platform->VendorApi() : nullptr;
    if (!m_api) return;
    m_apiHandle = m_api->ORBAPOAPI_InitializeAPI();
    if (!m_apiHandle) {
        TraceLine(m_trace, L"Failed to initialize ORBAPOAPI with error %i\n", m_api->ORBAPOAPI_GetLastError(0));
        return;
    }
    TraceLine(m_trace, L"Initialized ORBAPOAPI\n");
    m_endpoint = m_api->ORBAPOAPI_GetEndpoint(m_apiHandle, endpointId);
    if (!m_endpoint) {
        TraceLine(m_trace, L"Failed to get endpoint for device %s with error %i\n", endpointId,
                  m_api->ORBAPOAPI_GetLastError(m_apiHandle));
        return;
    }
    TraceLine(m_trace, L"Retreived endpoint for device %s\n", endpointId);
    m_api->ORBAPOAPI_SetAPOType(m_endpoint, "EFX");
    TraceLine(m_trace, L"Set APO type to EFX\n");
}

CVendorEndpoint::~CVendorEndpoint() {
    if (m_endpoint) {
        m_api->ORBAPOAPI_FreeEndpoint(m_endpoint);
        TraceLine(m_trace, L"Disposed endpoint\n");
    }
    if (m_apiHandle) {
        m_api->ORBAPOAPI_FreeAPI(m_apiHandle);
        TraceLine(m_trace, L"Disposed ORBAPOAPI\n");
    }
}

bool CVendorEndpoint::ReadFlag(const VendorParameter& parameter) {
    uint8_t flag = 0;
    uint32_t size = sizeof flag;
    return Read(parameter, &flag, size) != 0 && size != 0 && flag != 0;
}

int32_t CVendorEndpoint::Read(const VendorParameter& parameter, void* value, uint32_t& size) {
    if (!m_endpoint) return 0;
    const uint32_t room = size;
    const int32_t result = m_api->ORBAPOAPI_GetUserParameterEx(m_endpoint, parameter.first, parameter.second,
                                                               parameter.third, value, size);
    // A library that claims more than the room it was given is not believed
    // beyond that room.
    if (size > room) size = room;
    return result;
}

void CVendorEndpoint::Write(const VendorParameter& parameter, const void* value, uint32_t size) {
    if (!m_endpoint) return;
    m_api->ORBAPOAPI_SetUserParameterEx(m_endpoint, parameter.first, parameter.second, parameter.third, value, size);
}

}  // namespace qv
