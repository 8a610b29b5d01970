// One AppServiceConnection of the runtime behind the port's connection.
//
// Threading: every call blocks its caller until the runtime's operation has
// completed; the caller's thread must be in the multithreaded apartment, or
// in none (the platform joins it to the multithreaded one). The handlers
// given to SetHandlers are called on threads of the runtime. Once Close has
// returned, or SetHandlers has replaced them, or the object has gone, no
// call of the old handlers runs on another thread and none will start: Close
// waits for a call in progress, except one on its own thread (a handler that
// closes the connection cannot wait for itself).
#pragma once

#include <memory>

#include "platform/app_service.h"
#include "platform/win32/win32_winrt_abi.h"

namespace qv {

class CWin32AppServiceConnection : public CAddReleaseRef, public IAppServiceConnection {
public:
    explicit CWin32AppServiceConnection(CRefPtr<winrt::IAppServiceConnection> connection);
    ~CWin32AppServiceConnection() override;

    void SetAppServiceName(const std::wstring& name) override;
    void SetPackageFamilyName(const std::wstring& name) override;
    // A failure to start or finish the operation is its HRESULT, which is
    // negative and so never a status of success.
    int32_t OpenAsync() override;
    int32_t SendMessageAsync(const ValueSet& message, ValueSet& response) override;
    void SetHandlers(std::function<void(const ValueSet& request)> requestReceived,
                     std::function<void()> serviceClosed) override;
    void Close() override;

    struct Handlers;

private:
    // Takes the handlers off the runtime's events and waits for a call in
    // progress.
    void RemoveHandlers();

    CRefPtr<winrt::IAppServiceConnection> m_connection;
    std::shared_ptr<Handlers> m_handlers;
    EventRegistrationToken m_requestReceivedToken{};
    EventRegistrationToken m_serviceClosedToken{};
};

}  // namespace qv
