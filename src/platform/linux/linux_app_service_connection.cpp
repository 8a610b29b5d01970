#include "platform/linux/linux_app_service_connection.h"

#include <cerrno>

#include "platform/linux/linux_bus_queries.h"
#include "platform/linux/linux_bus_thread.h"
#include "platform/linux/linux_bus_values.h"
#include "platform/linux/linux_companion_names.h"

namespace qv {

namespace {

enum class CallFailure { None, Gone, TimedOut, NotServed, Other };

CallFailure Classify(int r, const CSdBusError& error) {
    if (r >= 0) return CallFailure::None;
    if (error.Is(SD_BUS_ERROR_SERVICE_UNKNOWN) || error.Is(SD_BUS_ERROR_NAME_HAS_NO_OWNER) ||
        error.Is(SD_BUS_ERROR_DISCONNECTED) || r == -ENOTCONN || r == -ECONNRESET)
        return CallFailure::Gone;
    if (error.Is(SD_BUS_ERROR_NO_REPLY) || error.Is(SD_BUS_ERROR_TIMEOUT) || r == -ETIMEDOUT)
        return CallFailure::TimedOut;
    if (error.Is(SD_BUS_ERROR_UNKNOWN_OBJECT) || error.Is(SD_BUS_ERROR_UNKNOWN_INTERFACE) ||
        error.Is(SD_BUS_ERROR_UNKNOWN_METHOD))
        return CallFailure::NotServed;
    return CallFailure::Other;
}

using Peer = CLinuxAppServiceConnection::Peer;

bool FromCompanion(sd_bus_message* message, const Peer& peer) {
    const char* sender = sd_bus_message_get_sender(message);
    return sender && peer.owner == sender;
}

int OnNameOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error*) {
    const Peer& peer = *static_cast<const Peer*>(userdata);
    const char *name = nullptr, *oldOwner = nullptr, *newOwner = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) < 0) return 0;
    // Only a change away from the companion found counts: one that was
    // queued before it was found may be older than it.
    const bool nameMoved = peer.busName == name && peer.owner == oldOwner && peer.owner != newOwner;
    const bool companionLeft = peer.owner == name && *newOwner == '\0';
    if (nameMoved || companionLeft) peer.events->PostServiceClosed();
    return 0;
}

int OnRequest(sd_bus_message* message, void* userdata, sd_bus_error*) {
    const Peer& peer = *static_cast<const Peer*>(userdata);
    ValueSet request;
    if (FromCompanion(message, peer) && ReadValueSet(message, request) >= 0)
        peer.events->PostRequest(std::move(request));
    return 0;
}

int OnClosed(sd_bus_message* message, void* userdata, sd_bus_error*) {
    const Peer& peer = *static_cast<const Peer*>(userdata);
    if (FromCompanion(message, peer)) peer.events->PostServiceClosed();
    return 0;
}

int AddNameOwnerMatch(sd_bus* bus, const std::string& name, Peer& peer) {
    const std::string rule =
        "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
        "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
        name + "'";
    return sd_bus_add_match(bus, nullptr, rule.c_str(), OnNameOwnerChanged, &peer);
}

// The companion's unique name, started by the bus if need be.
int32_t FindCompanion(sd_bus* bus, Peer& peer) {
    CSdBusError error;
    int r = GetNameOwner(bus, peer.busName, peer.owner, error);
    if (r >= 0) return kAppServiceConnectionSuccess;
    if (!error.Is(SD_BUS_ERROR_NAME_HAS_NO_OWNER)) return kAppServiceConnectionUnknown;
    bool activatable = false;
    CSdBusError listError;
    if (IsActivatable(bus, peer.busName, activatable, listError) < 0) return kAppServiceConnectionUnknown;
    if (!activatable) return kAppServiceConnectionAppNotInstalled;
    CSdBusError startError, ownerError;
    if (StartServiceByName(bus, peer.busName, startError) < 0 ||
        GetNameOwner(bus, peer.busName, peer.owner, ownerError) < 0)
        return kAppServiceConnectionAppUnavailable;
    return kAppServiceConnectionSuccess;
}

// Everything up to the first Ping, on the caller's thread, before the bus
// has a thread of its own. The matches come before the questions, so that a
// companion leaving in between is still heard.
int32_t OpenToCompanion(sd_bus* bus, Peer& peer) {
    if (AddNameOwnerMatch(bus, peer.busName, peer) < 0) return kAppServiceConnectionUnknown;
    if (int32_t status = FindCompanion(bus, peer); status != kAppServiceConnectionSuccess) return status;
    if (AddNameOwnerMatch(bus, peer.owner, peer) < 0 ||
        sd_bus_match_signal(bus, nullptr, peer.owner.c_str(), peer.path.c_str(), kCompanionInterface, "Request",
                            OnRequest, &peer) < 0 ||
        sd_bus_match_signal(bus, nullptr, peer.owner.c_str(), peer.path.c_str(), kCompanionInterface, "Closed",
                            OnClosed, &peer) < 0)
        return kAppServiceConnectionUnknown;
    CSdBusError error;
    sd_bus_message* reply = nullptr;
    int r = sd_bus_call_method(bus, peer.owner.c_str(), peer.path.c_str(), kCompanionInterface, "Ping", error.get(),
                               &reply, "");
    CSdBusMessage held(reply);
    switch (Classify(r, error)) {
        case CallFailure::None: return kAppServiceConnectionSuccess;
        case CallFailure::NotServed: return kAppServiceConnectionServiceUnavailable;
        case CallFailure::Gone:
        case CallFailure::TimedOut: return kAppServiceConnectionAppUnavailable;
        case CallFailure::Other: break;
    }
    return kAppServiceConnectionUnknown;
}

int32_t SendToCompanion(sd_bus* bus, const Peer& peer, const ValueSet& message, ValueSet& response) {
    if (!bus) return kAppServiceResponseAppUnavailable;
    sd_bus_message* call = nullptr;
    int r = sd_bus_message_new_method_call(bus, &call, peer.owner.c_str(), peer.path.c_str(), kCompanionInterface,
                                           "SendMessage");
    CSdBusMessage heldCall(call);
    if (r >= 0) r = AppendValueSet(call, message);
    if (r < 0) return kAppServiceResponseFailure;
    CSdBusError error;
    sd_bus_message* reply = nullptr;
    r = sd_bus_call(bus, call, 0, error.get(), &reply);  // 0: the bus's bounded default
    CSdBusMessage heldReply(reply);
    switch (Classify(r, error)) {
        case CallFailure::None: break;
        case CallFailure::Gone: return kAppServiceResponseAppUnavailable;
        case CallFailure::TimedOut: return kAppServiceResponseUnknown;
        case CallFailure::NotServed:
        case CallFailure::Other: return kAppServiceResponseFailure;
    }
    if (ReadValueSet(reply, response) < 0) {
        response.clear();
        return kAppServiceResponseFailure;
    }
    return kAppServiceResponseSuccess;
}

}  // namespace

CLinuxAppServiceConnection::CLinuxAppServiceConnection(std::optional<std::string> busAddress)
    : m_busAddress(std::move(busAddress)) {}

CLinuxAppServiceConnection::~CLinuxAppServiceConnection() { Close(); }

void CLinuxAppServiceConnection::SetAppServiceName(const std::wstring& name) {
    std::lock_guard lock(m_mutex);
    m_serviceName = name;
}

void CLinuxAppServiceConnection::SetPackageFamilyName(const std::wstring& name) {
    std::lock_guard lock(m_mutex);
    m_familyName = name;
}

void CLinuxAppServiceConnection::SetHandlers(std::function<void(const ValueSet& request)> requestReceived,
                                             std::function<void()> serviceClosed) {
    m_events.SetHandlers(std::move(requestReceived), std::move(serviceClosed));
}

int32_t CLinuxAppServiceConnection::OpenAsync() {
    auto peer = std::make_unique<Peer>();
    {
        std::lock_guard lock(m_mutex);
        if (m_state != State::New) return kAppServiceConnectionUnknown;
        if (m_familyName.empty()) return kAppServiceConnectionAppNotInstalled;
        if (m_serviceName.empty()) return kAppServiceConnectionServiceUnavailable;
        peer->busName = CompanionBusName(m_familyName);
        peer->path = CompanionObjectPath(m_serviceName);
        peer->events = &m_events;
        if (peer->busName.empty()) return kAppServiceConnectionAppNotInstalled;
        m_state = State::Opening;
    }
    CSdBus bus;
    int32_t status = kAppServiceConnectionUnknown;
    if (OpenBoundedSessionBus(m_busAddress, bus) >= 0) status = OpenToCompanion(bus.get(), *peer);
    std::lock_guard lock(m_mutex);
    if (m_state != State::Opening) return kAppServiceConnectionUnknown;  // closed meanwhile
    if (status != kAppServiceConnectionSuccess) {
        m_state = State::New;  // the model may try again, as after a failed open
        return status;
    }
    m_peer = std::move(peer);
    m_bus = std::make_shared<CLinuxBusThread>(std::move(bus), [events = &m_events] { events->PostServiceClosed(); });
    m_state = State::Open;
    return kAppServiceConnectionSuccess;
}

int32_t CLinuxAppServiceConnection::SendMessageAsync(const ValueSet& message, ValueSet& response) {
    response.clear();
    std::shared_ptr<CLinuxBusThread> bus;
    const Peer* peer = nullptr;
    {
        std::lock_guard lock(m_mutex);
        if (m_state != State::Open) return kAppServiceResponseFailure;
        bus = m_bus;
        peer = m_peer.get();
    }
    int32_t status = kAppServiceResponseAppUnavailable;
    bus->Run([&](sd_bus* served) { status = SendToCompanion(served, *peer, message, response); });
    return status;
}

void CLinuxAppServiceConnection::Close() {
    std::shared_ptr<CLinuxBusThread> bus;
    {
        std::lock_guard lock(m_mutex);
        m_state = State::Closed;
        bus = m_bus;
    }
    m_events.Close();
    // The bus thread ends after a message in flight has its answer; the peer
    // it reads stays until the connection goes.
    if (bus) bus->Stop();
}

}  // namespace qv
