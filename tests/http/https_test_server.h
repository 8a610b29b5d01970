// The local HTTPS server of https-server.py as a child process of the test,
// in a temporary folder of its own (where its test CA is). Ended and its
// folder removed when the object goes.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/linux/linux_unique_fd.h"

namespace qv::test {

class CHttpsTestServer {
public:
    // Serves certificates for hosts (names separated by commas) and, with a
    // site folder, that folder's files (see https-server.py). Port() is 0
    // when the server did not come up within the tests' bound.
    explicit CHttpsTestServer(const std::string& hosts, const std::string& site = {});
    ~CHttpsTestServer();
    CHttpsTestServer(const CHttpsTestServer&) = delete;
    CHttpsTestServer& operator=(const CHttpsTestServer&) = delete;

    uint16_t Port() const { return m_port; }
    std::string CaFile() const { return (m_folder / "ca.pem").string(); }
    // Whether the server printed this line, or one that the predicate
    // takes, within the bound. Lines before it are consumed.
    bool WaitForLine(const std::string& line, std::chrono::milliseconds bound);
    bool WaitForLine(const std::function<bool(const std::string&)>& wanted, std::chrono::milliseconds bound);

private:
    bool ReadLine(std::string& line, std::chrono::steady_clock::time_point deadline);

    std::filesystem::path m_folder;
    CUniqueFd m_output;
    pid_t m_pid = -1;
    uint16_t m_port = 0;
    std::string m_pending;
};

}  // namespace qv::test
