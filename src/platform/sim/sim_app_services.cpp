#include "platform/sim/sim_app_services.h"

#include "platform/codes.h"

namespace qv {

namespace {
constexpr int32_t kAppNotInstalled = 1;  // AppServiceConnectionStatus::AppNotInstalled
}

// What a connection and the simulation's thread share. A handler runs under
// calling, so Close() returns only once no handler runs any more.
struct CSimAppServices::Connection {
    std::mutex mutex;
    std::mutex calling;
    std::wstring serviceName;
    std::wstring familyName;
    bool open = false;
    bool sent = false;
    bool closed = false;
    std::function<void(const ValueSet&)> requestReceived;
    std::function<void()> serviceClosed;
};

namespace {

class CSimAppServiceConnection : public CAddReleaseRef, public IAppServiceConnection {
public:
    CSimAppServiceConnection(CRefPtr<CSimAppServices> services, std::shared_ptr<CSimAppServices::Connection> state)
        : m_services(std::move(services)), m_state(std::move(state)) {}
    ~CSimAppServiceConnection() override { Close(); }

    void SetAppServiceName(const std::wstring& name) override {
        std::lock_guard lock(m_state->mutex);
        m_state->serviceName = name;
    }
    void SetPackageFamilyName(const std::wstring& name) override {
        std::lock_guard lock(m_state->mutex);
        m_state->familyName = name;
    }
    int32_t OpenAsync() override;
    int32_t SendMessageAsync(const ValueSet& message, ValueSet& response) override;
    void SetHandlers(std::function<void(const ValueSet&)> requestReceived,
                     std::function<void()> serviceClosed) override {
        std::lock_guard lock(m_state->mutex);
        m_state->requestReceived = std::move(requestReceived);
        m_state->serviceClosed = std::move(serviceClosed);
    }
    void Close() override {
        std::function<void(const ValueSet&)> request;
        std::function<void()> closed;
        std::lock_guard calling(m_state->calling);
        std::lock_guard lock(m_state->mutex);
        m_state->closed = true;
        // The handlers go on the closer's thread, with what they hold.
        request.swap(m_state->requestReceived);
        closed.swap(m_state->serviceClosed);
    }

private:
    const CRefPtr<CSimAppServices> m_services;
    const std::shared_ptr<CSimAppServices::Connection> m_state;
};

}  // namespace

CSimAppServices::~CSimAppServices() { m_events.Stop(); }

Win32Error CSimAppServices::FindPackagesByPackageFamily(const std::wstring& familyName,
                                                        std::vector<uint32_t>& packageProperties) {
    std::lock_guard lock(m_mutex);
    auto found = m_packages.find(familyName);
    packageProperties = found == m_packages.end() ? std::vector<uint32_t>() : found->second;
    return ERROR_SUCCESS;
}

HRESULT CSimAppServices::CreateAppServiceConnection(CRefPtr<IAppServiceConnection>& connection) {
    auto state = std::make_shared<Connection>();
    {
        std::lock_guard lock(m_mutex);
        std::erase_if(m_connections, [](const std::weak_ptr<Connection>& weak) { return weak.expired(); });
        m_connections.push_back(state);
    }
    connection = MakeRef<CSimAppServiceConnection>(CRefPtr<CSimAppServices>(this), state);
    return S_OK;
}

int32_t CSimAppServiceConnection::OpenAsync() {
    std::wstring family;
    {
        std::lock_guard lock(m_state->mutex);
        family = m_state->familyName;
    }
    std::vector<uint32_t> packages;
    m_services->FindPackagesByPackageFamily(family, packages);
    if (packages.empty()) return kAppNotInstalled;
    const int32_t status = m_services->OpenStatus;
    std::lock_guard lock(m_state->mutex);
    m_state->open = status == 0;
    return status;
}

int32_t CSimAppServiceConnection::SendMessageAsync(const ValueSet& message, ValueSet& response) {
    CSimAppServices::SentMessage sent;
    {
        std::lock_guard lock(m_state->mutex);
        if (!m_state->open) return 4;  // AppServiceResponseStatus::Unknown
        m_state->sent = true;
        sent = {m_state->familyName, m_state->serviceName, message};
    }
    response = m_services->Receive(sent);
    return m_services->SendStatus;
}

ValueSet CSimAppServices::Receive(const SentMessage& sent) {
    std::lock_guard lock(m_mutex);
    m_messages.push_back(sent);
    for (const auto& [key, value] : sent.message)
        if (auto set = m_responses.find(key); set != m_responses.end()) return set->second;
    return {{L"Response", L"OK"}};
}

void CSimAppServices::InstallPackage(const std::wstring& familyName, std::vector<uint32_t> packageProperties) {
    std::lock_guard lock(m_mutex);
    m_packages[familyName] = std::move(packageProperties);
}

void CSimAppServices::SetResponse(const std::wstring& toastName, ValueSet response) {
    std::lock_guard lock(m_mutex);
    m_responses[toastName] = std::move(response);
}

std::vector<CSimAppServices::SentMessage> CSimAppServices::Messages() const {
    std::lock_guard lock(m_mutex);
    return m_messages;
}

void CSimAppServices::Answer(const ValueSet& request) {
    std::lock_guard lock(m_mutex);
    for (const std::weak_ptr<Connection>& weak : m_connections) {
        std::shared_ptr<Connection> state = weak.lock();
        if (!state) continue;
        m_events.Post([state, request] {
            std::lock_guard calling(state->calling);
            std::function<void(const ValueSet&)> handler;
            {
                std::lock_guard lock(state->mutex);
                if (state->closed || !state->sent || !state->requestReceived) return;
                handler = state->requestReceived;
            }
            handler(request);
        });
    }
}

void CSimAppServices::CloseServices() {
    std::lock_guard lock(m_mutex);
    for (const std::weak_ptr<Connection>& weak : m_connections) {
        std::shared_ptr<Connection> state = weak.lock();
        if (!state) continue;
        m_events.Post([state] {
            std::lock_guard calling(state->calling);
            std::function<void()> handler;
            {
                std::lock_guard lock(state->mutex);
                if (state->closed || !state->sent || !state->serviceClosed) return;
                handler = state->serviceClosed;
            }
            handler();
        });
    }
}

size_t CSimAppServices::OpenConnections() const {
    std::lock_guard lock(m_mutex);
    size_t open = 0;
    for (const std::weak_ptr<Connection>& weak : m_connections) {
        std::shared_ptr<Connection> state = weak.lock();
        if (!state) continue;
        std::lock_guard stateLock(state->mutex);
        open += state->open && !state->closed;
    }
    return open;
}

}  // namespace qv
