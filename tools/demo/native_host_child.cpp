#include "native_host_child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace qv::demo {

CNativeHostChild::CNativeHostChild(const std::string& program, const std::string& inputFile) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, inputFile.c_str(), O_RDONLY, 0);
    char* argv[] = {const_cast<char*>(program.c_str()), nullptr};
    const int error = ::posix_spawn(&m_pid, program.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        m_pid = -1;
        m_problem = "cannot start the native host " + program + ": " + std::strerror(error);
    }
}

CNativeHostChild::~CNativeHostChild() {
    if (m_pid <= 0) return;
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace qv::demo
