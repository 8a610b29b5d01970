#include "prompts/app_service_connection.h"

#include <cstring>
#include <vector>

#include "platform/codes.h"
#include "platform/platform.h"
#include "platform/registry.h"
#include "prompts/supported_app_lists.h"

namespace qv {

namespace {

constexpr uint32_t kPackageFilterHead = 16;  // PACKAGE_FILTER_HEAD
constexpr int32_t kConnectionSuccess = 0;    // AppServiceConnectionStatus::Success
constexpr int32_t kResponseSuccess = 0;      // AppServiceResponseStatus::Success

CRefPtr<IAppServices> AppServicesPort() {
    CRefPtr<IPlatform> platform = GetPlatform();
    return platform ? platform->AppServices() : nullptr;
}

std::wstring TextOf(const ValueSet& message, const std::wstring& key) {
    auto it = message.find(key);
    return it == message.end() ? std::wstring() : it->second;
}

}  // namespace

CAppServiceConnection::CAppServiceConnection(const CRefPtr<ITraceFuncCallTarget>& traceTarget,
                                             const CRefPtr<IAsyncActionDispatcher>& dispatcher,
                                             const CRefPtr<CContentClassifierLog>& log)
    : CCommonBase(traceTarget, dispatcher, log) {
    QV_TRACE_SCOPE(L"CAppServiceConnection::CAppServiceConnection");
    // A platform without app services leaves the connection empty; Connect
    // then finds no app, as on a machine without the companion.
    if (CRefPtr<IAppServices> services = AppServicesPort()) {
        if (HRESULT hr = services->CreateAppServiceConnection(m_connection); hr < 0) {
            Trace(L"Failed to create the app service connection with error 0x%08X\n", static_cast<uint32_t>(hr));
            m_connection = nullptr;
        }
    }
}

CAppServiceConnection::~CAppServiceConnection() {
    QV_TRACE_SCOPE(L"CAppServiceConnection::~CAppServiceConnection");
    bool wasConnected;
    {
        std::lock_guard guard(m_state->lock);
        CancelPending(m_state->requestAction);
        wasConnected = m_state->isConnected;
        m_state->isConnected = false;
    }
    // Closed outside the lock: closing waits for a handler in progress, and
    // that handler may be waiting for the lock.
    if (wasConnected && m_connection) m_connection->Close();
}

bool CAppServiceConnection::IsConnected() const {
    std::lock_guard guard(m_state->lock);
    return m_state->isConnected;
}

std::wstring CAppServiceConnection::LastMessageText(const std::wstring& key) const {
    return TextOf(m_lastMessage, key);
}

void CAppServiceConnection::Connect() {
    QV_TRACE_SCOPE(L"CAppServiceConnection::Connect");
    std::lock_guard guard(m_state->lock);
    if (m_state->isConnected) {
        Trace(L"Already connected\n");
        return;
    }
    if (!CanConnect) {
        Trace(L"Can't connect\n");
        return;
    }
    Trace(L"Can connect\n");
    if (!FindSupportedApp()) {
        Trace(L"Failed to find app - toast service provide with a supported PFN!\n");
        return;
    }
    Trace(L"Service name: %s\n", m_chosenService);
    m_connection->SetAppServiceName(m_chosenService);
    PackageFamilyName = m_chosenFamily;
    if (PackageFamilyName.empty()) return;
    Trace(L"Package family name: %s\n", PackageFamilyName);

    OnBeforeShowToast();
    ApplyNotificationSetting();
    if (!ShowToast) {
        Trace(L"Show toast = false\n");
        return;
    }
    Trace(L"Show toast = true\n");

    m_connection->SetPackageFamilyName(PackageFamilyName);
    ConnectionStatus = m_connection->OpenAsync();
    if (ConnectionStatus != kConnectionSuccess) {
        Trace(L"Connection status = Failed\n");
        return;
    }
    Trace(L"Connection status = Success\n");

    ValueSet response;
    if (m_connection->SendMessageAsync({{ToastName, L"true"}}, response) != kResponseSuccess) return;
    const std::wstring answer = TextOf(response, L"Response");
    if (answer != L"OK") {
        // The connection stays open with nothing listening until this
        // object goes.
        Trace(L"Response = %s\n", answer);
        return;
    }
    Trace(L"Response = OK\n");
    InstallHandlers();
    m_state->isConnected = true;
}

bool CAppServiceConnection::FindSupportedApp() {
    m_chosenFamily.clear();
    m_chosenService.clear();
    CRefPtr<IAppServices> services = AppServicesPort();
    if (!services || !m_connection) return false;
    for (const SupportedApp& app : SupportedAppList(AppFamily)) {
        const std::wstring family(app.packageFamilyName);
        Trace(L"Supported app = %s\n", family);
        std::vector<uint32_t> packageProperties;
        if (services->FindPackagesByPackageFamily(family, packageProperties) != ERROR_SUCCESS) continue;
        // Only a package with no special properties (not a framework, a
        // resource or a bundle) is the app itself.
        for (uint32_t properties : packageProperties) {
            if (properties == 0) {
                m_chosenFamily = family;
                m_chosenService = app.appServiceName;
                return true;
            }
        }
    }
    return false;
}

// The user's switch for the app's notifications overrules the toast's own
// decision in both directions; without the switch the decision stands.
void CAppServiceConnection::ApplyNotificationSetting() {
    const std::wstring key =
        L"Software\\Microsoft\\Windows\\CurrentVersion\\Notifications\\Settings\\" + PackageFamilyName + L"!App";
    Trace(L"Take into account Windows settings for the app's notifications at: %s\n", key);
    CRefPtr<IPlatform> platform = GetPlatform();
    CRefPtr<IRegistry> registry = platform ? platform->Registry() : nullptr;
    if (!registry) return;
    CRefPtr<IRegistryKey> opened;
    Win32Error error = registry->RegOpenKeyEx(RegistryRoot::CurrentUser, key, kRegOptionOpenLink, kKeyRead, opened);
    uint32_t type = 0;
    std::vector<uint8_t> data;
    // A link in place of the key is not followed: someone else's setting
    // must not decide for this app.
    if (error == ERROR_SUCCESS && opened->RegQueryValueEx(L"SymbolicLinkValue", type, data) == ERROR_SUCCESS)
        error = ERROR_ACCESS_DENIED;
    if (error != ERROR_SUCCESS) {
        Trace(L"Failed to open '%s' registry key with error code: %i", key, static_cast<int32_t>(error));
        return;
    }
    data.clear();
    if (opened->RegQueryValueEx(L"Enabled", type, data) == ERROR_SUCCESS && type == kRegDword &&
        data.size() == sizeof(uint32_t)) {
        uint32_t enabled = 0;
        std::memcpy(&enabled, data.data(), sizeof enabled);
        ShowToast = enabled != 0;
        // The line has always printed 0 for the value; readers of the trace
        // know the line, not the number.
        Trace(L"'[HKEY_CURRENT_USER\\%s]\"Enabled\" = dword:%X", key, 0u);
    }
}

void CAppServiceConnection::InstallHandlers() {
    std::shared_ptr<State> state = m_state;
    CWeakRefPtr<CAppServiceConnection> weak(this);
    CRefPtr<IAsyncActionDispatcher> dispatcher = Dispatcher();
    CRefPtr<ITraceFuncCallTarget> trace = TraceTarget();
    auto requestReceived = [state, weak, dispatcher, trace](const ValueSet& message) {
        std::lock_guard guard(state->lock);
        if (!state->isConnected) {
            if (DBG_TRACE* record = TraceRecordOf(trace.get()); TraceEnabled(record))
                DBG_TRACE_Print(record, L"Not connected.\n");
            return;
        }
        state->requestAction = CAsyncAction::Post(dispatcher, [weak, message](CRefPtr<CAsyncAction>) {
            if (CRefPtr<CAppServiceConnection> self = weak.Lock()) self->OnRequestReceived(message);
        });
    };
    auto serviceClosed = [state, weak, dispatcher, trace]() {
        std::lock_guard guard(state->lock);
        if (!state->isConnected) {
            if (DBG_TRACE* record = TraceRecordOf(trace.get()); TraceEnabled(record))
                DBG_TRACE_Print(record, L"Not connected.\n");
            return;
        }
        state->closedAction = CAsyncAction::Post(dispatcher, [weak](CRefPtr<CAsyncAction>) {
            if (CRefPtr<CAppServiceConnection> self = weak.Lock()) self->CloseConnection();
        });
    };
    m_connection->SetHandlers(std::move(requestReceived), std::move(serviceClosed));
}

void CAppServiceConnection::OnRequestReceived(const ValueSet& message) {
    m_lastMessage = message;
    ToastState = TextOf(message, L"ToastState");
    Trace(L"Toast state = %s\n", ToastState);
    OnToastStateReceived();
    CloseConnection();
}

void CAppServiceConnection::CloseConnection() {
    Trace(L"Closing connection ...\n");
    {
        std::lock_guard guard(m_state->lock);
        m_state->isConnected = false;
    }
    if (m_connection) m_connection->Close();
    Trace(L"Done.\n");
}

}  // namespace qv
