// What a browser does for its add-on: it starts the native-messaging host as
// its own child, and the add-on's messages reach the host's standard input.
// Here the messages come from a file, already framed; the host's answers go
// to this program's standard output.
#pragma once

#include <sys/types.h>

#include <string>

namespace qv::demo {

class CNativeHostChild {
public:
    // Starts the program with its standard input read from the file. Started()
    // says whether it runs; Problem() says why not.
    CNativeHostChild(const std::string& program, const std::string& inputFile);
    // Waits for the host, which ends once it has read the whole file.
    ~CNativeHostChild();
    CNativeHostChild(const CNativeHostChild&) = delete;
    CNativeHostChild& operator=(const CNativeHostChild&) = delete;

    bool Started() const { return m_pid > 0; }
    const std::string& Problem() const { return m_problem; }

private:
    pid_t m_pid = -1;
    std::string m_problem;
};

}  // namespace qv::demo
