#include "child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace qv::demo {

CChildProcess::CChildProcess(const std::vector<std::string>& argv, const std::string& inputFile) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!inputFile.empty()) posix_spawn_file_actions_addopen(&actions, 0, inputFile.c_str(), O_RDONLY, 0);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    const int error = ::posix_spawn(&m_pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        m_pid = -1;
        m_problem = "cannot start " + argv[0] + ": " + std::strerror(error);
    }
}

int CChildProcess::Wait() {
    if (m_pid <= 0) return 1;
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

CChildProcess::~CChildProcess() { Wait(); }

}  // namespace qv::demo
