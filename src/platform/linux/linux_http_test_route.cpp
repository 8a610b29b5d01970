#include "platform/linux/linux_http_test_route.h"

#include <mutex>
#include <utility>

namespace qv {

namespace {

std::mutex g_routeLock;
LinuxHttpTestRoute g_route;

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
