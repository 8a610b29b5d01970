#include "platform/linux/linux_pipe_listener_state.h"

#include <cerrno>
#include <cstring>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/linux/linux_unique_fd.h"

namespace qv {

namespace {

constexpr unsigned kTcpListen = 10;  // the state of a listening socket

// Reads one listener's record: its name and queue lengths. Bounds-checked,
// since the attributes come in a buffer of the kernel's making.
bool MatchListener(const nlmsghdr* header, const PipeAddress& address, PipeListenerState& state) {
    if (header->nlmsg_len < NLMSG_LENGTH(sizeof(unix_diag_msg))) return false;
    const auto* record = static_cast<const unix_diag_msg*>(NLMSG_DATA(header));
    if (record->udiag_type != SOCK_SEQPACKET || record->udiag_state != kTcpListen) return false;
    int length = static_cast<int>(header->nlmsg_len - NLMSG_LENGTH(sizeof(unix_diag_msg)));
    bool named = false;
    bool haveQueue = false;
    unix_diag_rqlen queue{};
    for (auto* attribute = reinterpret_cast<const rtattr*>(record + 1); RTA_OK(attribute, length);
         attribute = RTA_NEXT(attribute, length)) {
        const auto payload = static_cast<std::size_t>(RTA_PAYLOAD(attribute));
        if (attribute->rta_type == UNIX_DIAG_NAME) {
            // The abstract name, with sun_path's leading zero.
            const auto* name = static_cast<const char*>(RTA_DATA(attribute));
            named = payload == address.abstractName.size() + 1 && name[0] == '\0' &&
                    std::memcmp(name + 1, address.abstractName.data(), address.abstractName.size()) == 0;
        } else if (attribute->rta_type == UNIX_DIAG_RQLEN && payload >= sizeof queue) {
            std::memcpy(&queue, RTA_DATA(attribute), sizeof queue);
            haveQueue = true;
        }
    }
    if (!named) return false;
    // For a listener the kernel gives the waiting clients and the backlog;
    // it refuses a connect once more than the backlog are waiting.
    state = !haveQueue ? PipeListenerState::Unknown
                       : (queue.udiag_rqueue > queue.udiag_wqueue ? PipeListenerState::Busy : PipeListenerState::Free);
    return true;
}

}  // namespace

PipeListenerState QueryPipeListenerState(const PipeAddress& address) {
    CUniqueFd netlink(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    if (!netlink) return PipeListenerState::Unknown;

    struct {
        nlmsghdr header;
        unix_diag_req request;
    } query{};
    query.header.nlmsg_len = sizeof query;
    query.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    query.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    query.request.sdiag_family = AF_UNIX;
    query.request.udiag_states = 1u << kTcpListen;
    query.request.udiag_show = UDIAG_SHOW_NAME | UDIAG_SHOW_RQLEN;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(netlink.get(), &query, sizeof query, 0, reinterpret_cast<sockaddr*>(&kernel), sizeof kernel) < 0)
        return PipeListenerState::Unknown;

    PipeListenerState state = PipeListenerState::NotListening;
    alignas(nlmsghdr) char buffer[32768];
    for (;;) {
        ssize_t n = ::recv(netlink.get(), buffer, sizeof buffer, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return PipeListenerState::Unknown;
        int left = static_cast<int>(n);
        for (auto* header = reinterpret_cast<nlmsghdr*>(buffer); NLMSG_OK(header, left);
             header = NLMSG_NEXT(header, left)) {
            if (header->nlmsg_type == NLMSG_DONE) return PipeListenerState::NotListening;
            if (header->nlmsg_type == NLMSG_ERROR) return PipeListenerState::Unknown;
            if (header->nlmsg_type == SOCK_DIAG_BY_FAMILY && MatchListener(header, address, state)) return state;
        }
    }
}

}  // namespace qv
