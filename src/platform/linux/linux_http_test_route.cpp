#include "platform/linux/linux_http_test_route.h"

#include <cstdlib>
#include <mutex>
#include <string_view>
#include <utility>

namespace qv {

namespace {

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

LinuxHttpTestRoute RouteFromEnvironment() {
    LinuxHttpTestRoute route;
    const std::string variable = Environment("QUORVANE_HTTP_CONNECT_TO");
    std::string_view entries = variable;
    // What the environment gives goes to libcurl as it stands; libcurl
    // refuses an entry of another shape at the request, which then fails.
    while (!entries.empty()) {
        const std::size_t comma = entries.find(',');
        const std::string_view entry = entries.substr(0, comma);
        if (!entry.empty()) route.connectTo.emplace_back(entry);
        entries = comma == std::string_view::npos ? std::string_view() : entries.substr(comma + 1);
    }
    route.caFile = Environment("QUORVANE_HTTP_CA_FILE");
    return route;
}

std::mutex g_routeLock;
LinuxHttpTestRoute g_route = RouteFromEnvironment();

}  // namespace

void SetLinuxHttpTestRoute(LinuxHttpTestRoute route) {
    std::lock_guard lock(g_routeLock);
    g_route = std::move(route);
}

LinuxHttpTestRoute GetLinuxHttpTestRoute() {
    std::lock_guard lock(g_routeLock);
    return g_route;
}

}  // namespace qv
