// One toast of the companion app, from finding the app to the user's answer.
// Connect() finds the installed companion, lets the subclass decide in
// OnBeforeShowToast() whether the toast is due, lets the user's per-app
// notification switch overrule that, asks the app's service to show the
// toast, and listens for the one report of what the user did with it, which
// reaches OnToastStateReceived() on the main thread. After that report (or
// the service's closing) the connection is closed for good: an owner makes a
// new object for each attempt.
//
// Threads: Connect() and both hooks run on the main thread. The platform's
// handlers run on its threads and only post; they read nothing but the
// shared connection state below, under its lock.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "core/common_base.h"
#include "platform/app_service.h"

namespace qv {

class CAppServiceConnection : public CCommonBase {
public:
    CAppServiceConnection(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                          const CRefPtr<IAsyncActionDispatcher>& dispatcher, const CRefPtr<CContentClassifierLog>& log);

    // Blocks the main thread until the app's service has answered.
    void Connect();
    bool IsConnected() const;

    // Called under the connection's lock, once the app is known: decides
    // ShowToast and may prepare the toast.
    virtual void OnBeforeShowToast() {}
    // Called on the main thread once the app has reported, ToastState set.
    virtual void OnToastStateReceived() = 0;

    int32_t ConnectionStatus = 4;  // AppServiceConnectionStatus::Unknown until opened
    bool CanConnect = true;
    int32_t AppFamily = 0;
    std::wstring PackageFamilyName;
    std::wstring ToastName;
    bool ShowToast = true;
    std::wstring ToastState;

    // A text value of the last report; empty when the key is absent.
    std::wstring LastMessageText(const std::wstring& key) const;

protected:
    ~CAppServiceConnection() override;

private:
    // What the platform's threads may look at, shared with their handlers so
    // that they never need a strong reference to this object.
    struct State {
        mutable std::recursive_mutex lock;
        bool isConnected = false;
        CWeakRefPtr<CAsyncAction> requestAction;
        CWeakRefPtr<CAsyncAction> closedAction;
    };

    bool FindSupportedApp();
    void ApplyNotificationSetting();
    void InstallHandlers();
    void OnRequestReceived(const ValueSet& message);
    void CloseConnection();

    CRefPtr<IAppServiceConnection> m_connection;
    const std::shared_ptr<State> m_state = std::make_shared<State>();
    std::wstring m_chosenFamily;
    std::wstring m_chosenService;
    ValueSet m_lastMessage;
};

}  // namespace qv
