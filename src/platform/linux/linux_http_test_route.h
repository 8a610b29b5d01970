// For tests only: where the HTTP port sends a host name, and which extra
// certificate authority it trusts, so that a test can serve the video site's
// host from a local server with a certificate of its own making. Nothing in
// the product calls this; the system's resolver and CA store apply
// otherwise, and no system file is touched. A test that runs the whole
// program gives the route in its environment instead, read once at start:
// QUORVANE_HTTP_CONNECT_TO (entries separated by commas) and
// QUORVANE_HTTP_CA_FILE, the same way QUORVANE_REGISTRY_DIR gives it a
// registry of its own.
#pragma once

#include <string>
#include <vector>

namespace qv {

struct LinuxHttpTestRoute {
    // libcurl's connect-to entries, "host:port:address:port", e.g.
    // "www.example.com:443:127.0.0.1:40123": the request still names the
    // host (and its certificate must), but the connection goes to the
    // address and port, so that a test server needs no privileged port.
    std::vector<std::string> connectTo;
    // A PEM file of certificate authorities to trust instead of the
    // system's store; empty for the store.
    std::string caFile;
};

// Applies to the requests opened afterwards; an empty route restores the
// system's resolver and store.
void SetLinuxHttpTestRoute(LinuxHttpTestRoute route);
LinuxHttpTestRoute GetLinuxHttpTestRoute();

}  // namespace qv
