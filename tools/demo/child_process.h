// A child that the demo client starts as a browser starts its helpers: the
// native-messaging host, with the add-on's messages (already framed, from a
// file) on its standard input; or the audio service, a second process of the
// same program that plays while the browser itself stays silent.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace qv::demo {

class CChildProcess {
public:
    // argv[0] is the program's path. With an input file, the child's
    // standard input is read from it; otherwise it shares this program's.
    CChildProcess(const std::vector<std::string>& argv, const std::string& inputFile = {});
    // Waits for the child.
    ~CChildProcess();
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    bool Started() const { return m_pid > 0; }
    const std::string& Problem() const { return m_problem; }
    // Waits for the end; the exit code, or 1 for a death by a signal.
    int Wait();

private:
    pid_t m_pid = -1;
    std::string m_problem;
};

}  // namespace qv::demo
