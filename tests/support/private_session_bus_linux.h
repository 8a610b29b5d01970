// A session bus of the test's own: a dbus-daemon started with a
// configuration that listens in a fresh folder and starts programs only
// from the services given here, never from the machine's. It is stopped and
// its folder removed when the object goes.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace qv::test {

class PrivateSessionBus {
public:
    struct ActivatableService {
        std::string name;
        std::string commandLine;  // the service file's Exec
    };
    explicit PrivateSessionBus(const std::vector<ActivatableService>& services = {});
    ~PrivateSessionBus();
    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

    // Empty when the daemon did not start.
    const std::string& Address() const { return m_address; }
    const std::string& Folder() const { return m_folder; }

private:
    std::string m_folder;
    std::string m_address;
    pid_t m_pid = -1;
};

}  // namespace qv::test
