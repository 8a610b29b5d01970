// An app-service connection to the companion on the session bus
// (linux_companion_names.h has the names). Each open connection is a bus
// connection of its own, served by a thread of its own, so that the
// companion's requests reach exactly the connection whose message asked.
//
// OpenAsync (AppServiceConnectionStatus):
//   0 Success                the companion owns the family's bus name (or
//                            was started for it) and answers Ping on the
//                            service's path
//   1 AppNotInstalled        no owner and not activatable; empty family name
//   2 AppUnavailable         it could not be started, left meanwhile, or did
//                            not answer in time
//   3 AppServiceUnavailable  it does not offer that service (no such object,
//                            interface or method); empty service name
//   4 Unknown                no session bus, any other failure, and
//                            OpenAsync on a connection already open or
//                            closed (a failed open may be tried again)
// SendMessageAsync (AppServiceResponseStatus):
//   0 Success                the companion's reply is the response
//   1 Failure                not open (or closed), or the companion
//                            answered with an error or a malformed reply
//   3 Unknown                no answer within the time-out
//   6 AppUnavailable         the companion or the bus has gone
// ServiceClosed: the companion's Closed signal, its leaving the bus (its
// unique name, or the family's name going to another owner or none), or
// the loss of the connection's own bus.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/app_service.h"
#include "platform/linux/linux_app_service_events.h"

namespace qv {

class CLinuxBusThread;

inline constexpr int32_t kAppServiceConnectionSuccess = 0;
inline constexpr int32_t kAppServiceConnectionAppNotInstalled = 1;
inline constexpr int32_t kAppServiceConnectionAppUnavailable = 2;
inline constexpr int32_t kAppServiceConnectionServiceUnavailable = 3;
inline constexpr int32_t kAppServiceConnectionUnknown = 4;

inline constexpr int32_t kAppServiceResponseSuccess = 0;
inline constexpr int32_t kAppServiceResponseFailure = 1;
inline constexpr int32_t kAppServiceResponseUnknown = 3;
inline constexpr int32_t kAppServiceResponseAppUnavailable = 6;

class CLinuxAppServiceConnection : public CAddReleaseRef, public IAppServiceConnection {
public:
    // The session bus, or the bus at the address.
    explicit CLinuxAppServiceConnection(std::optional<std::string> busAddress);
    ~CLinuxAppServiceConnection() override;

    void SetAppServiceName(const std::wstring& name) override;
    void SetPackageFamilyName(const std::wstring& name) override;
    int32_t OpenAsync() override;
    int32_t SendMessageAsync(const ValueSet& message, ValueSet& response) override;
    void SetHandlers(std::function<void(const ValueSet& request)> requestReceived,
                     std::function<void()> serviceClosed) override;
    void Close() override;

    // What the bus thread's matches compare with; fixed once open.
    struct Peer {
        std::string busName;
        std::string owner;  // the companion's unique name
        std::string path;
        CAppServiceEvents* events;
    };

private:
    enum class State { New, Opening, Open, Closed };

    const std::optional<std::string> m_busAddress;
    std::mutex m_mutex;
    State m_state = State::New;
    std::wstring m_serviceName;
    std::wstring m_familyName;
    CAppServiceEvents m_events;
    std::unique_ptr<Peer> m_peer;            // read by the bus thread's matches
    std::shared_ptr<CLinuxBusThread> m_bus;  // goes before the peer
};

}  // namespace qv
