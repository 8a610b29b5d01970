#include "https_test_server.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "support/wait_until.h"

extern char** environ;

namespace qv::test {

CHttpsTestServer::CHttpsTestServer(const std::string& hosts, const std::string& site) {
    std::string folder = (std::filesystem::temp_directory_path() / "qv-https-XXXXXX").string();
    if (!::mkdtemp(folder.data())) return;
    m_folder = folder;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    m_output.reset(ends[0]);
    CUniqueFd writeEnd(ends[1]);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, writeEnd.get(), STDOUT_FILENO);
    std::string script = QV_HTTPS_SERVER_SCRIPT;
    std::vector<char*> argv = {const_cast<char*>("python3"), script.data(), folder.data(),
                               const_cast<char*>(hosts.c_str())};
    if (!site.empty()) argv.push_back(const_cast<char*>(site.c_str()));
    argv.push_back(nullptr);
    if (::posix_spawnp(&m_pid, "python3", &actions, nullptr, argv.data(), environ) != 0) m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    if (m_pid < 0) return;
    writeEnd.reset();

    std::string line;
    const auto deadline = std::chrono::steady_clock::now() + kWaitBound;
    if (ReadLine(line, deadline) && line.rfind("port ", 0) == 0) m_port = static_cast<uint16_t>(std::atoi(&line[5]));
}

CHttpsTestServer::~CHttpsTestServer() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGTERM);
        ::waitpid(m_pid, nullptr, 0);
    }
    std::error_code ignored;
    if (!m_folder.empty()) std::filesystem::remove_all(m_folder, ignored);
}

bool CHttpsTestServer::WaitForLine(const std::string& wanted, std::chrono::milliseconds bound) {
    return WaitForLine([&](const std::string& line) { return line == wanted; }, bound);
}

bool CHttpsTestServer::WaitForLine(const std::function<bool(const std::string&)>& wanted,
                                   std::chrono::milliseconds bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    std::string line;
    while (ReadLine(line, deadline)) {
        if (wanted(line)) return true;
    }
    return false;
}

bool CHttpsTestServer::ReadLine(std::string& line, std::chrono::steady_clock::time_point deadline) {
    for (;;) {
        if (const size_t end = m_pending.find('\n'); end != std::string::npos) {
            line = m_pending.substr(0, end);
            m_pending.erase(0, end + 1);
            return true;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (!m_output || left.count() <= 0) return false;
        pollfd wait{m_output.get(), POLLIN, 0};
        if (::poll(&wait, 1, static_cast<int>(left.count())) <= 0) return false;
        char buffer[256];
        const ssize_t got = ::read(m_output.get(), buffer, sizeof buffer);
        if (got <= 0) return false;
        m_pending.append(buffer, static_cast<size_t>(got));
    }
}

}  // namespace qv::test
