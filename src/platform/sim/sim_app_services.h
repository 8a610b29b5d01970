// A companion app as a test wants it: packages that the test installs, a
// service that accepts every toast unless told otherwise and remembers each
// message, and the user's answers, which the test gives and which reach the
// model's handlers on a thread of the simulation.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/app_service.h"
#include "platform/callback_thread.h"

namespace qv {

class CSimAppServices : public CAddReleaseRef, public IAppServices {
public:
    struct SentMessage {
        std::wstring packageFamilyName;
        std::wstring appServiceName;
        ValueSet message;
    };

    ~CSimAppServices() override;
    // Ends the simulation's thread; what is still queued is dropped.
    void Shutdown() { m_events.Stop(); }

    Win32Error FindPackagesByPackageFamily(const std::wstring& familyName,
                                           std::vector<uint32_t>& packageProperties) override;
    HRESULT CreateAppServiceConnection(CRefPtr<IAppServiceConnection>& connection) override;

    // Installs a package family with the properties of its packages (0 is
    // the app itself).
    void InstallPackage(const std::wstring& familyName, std::vector<uint32_t> packageProperties = {0});
    // The reply to a toast of that name; {"Response": "OK"} unless set.
    void SetResponse(const std::wstring& toastName, ValueSet response);
    std::atomic<int32_t> OpenStatus{0};
    std::atomic<int32_t> SendStatus{0};

    std::vector<SentMessage> Messages() const;
    // The user answers every toast that is still open, or the app closes the
    // service of each; the model hears it on the simulation's thread.
    void Answer(const ValueSet& request);
    void CloseServices();
    // Connections that the model has not closed yet.
    size_t OpenConnections() const;
    bool WaitUntilDelivered(std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        return m_events.WaitUntilDelivered(timeout);
    }

    struct Connection;
    // The app's side of a message: kept, and answered.
    ValueSet Receive(const SentMessage& sent);

private:
    mutable std::mutex m_mutex;
    std::map<std::wstring, std::vector<uint32_t>> m_packages;
    std::map<std::wstring, ValueSet> m_responses;
    std::vector<SentMessage> m_messages;
    std::vector<std::weak_ptr<Connection>> m_connections;
    CCallbackThread m_events;
};

}  // namespace qv
