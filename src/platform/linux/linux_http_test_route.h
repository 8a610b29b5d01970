// For tests only: where the HTTP port sends a host name, and which extra
// certificate authority it trusts, so that a test can serve the video site's
// host from a local server with a certificate of its own making. Nothing in
// the product calls this; the system's resolver and CA store apply
// otherwise, and no system file is touched.
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
