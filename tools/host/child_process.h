// The classifier as the host's child: started with its arguments in a process
// group of its own (the user's Ctrl-C reaches the host alone), stopped by the
// host's release of the exit token, and killed only if it does not end.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace qv::host {

class ChildProcess {
public:
    virtual ~ChildProcess() = default;
    // Waits up to the grace time for it to end by itself (its exit token has
    // been released), then ends it by force. Gives its exit code, or -1 if it
    // had to be killed.
    virtual int WaitOrEnd(std::chrono::milliseconds grace) = 0;
    // Whether it still runs.
    virtual bool Running() = 0;
    virtual unsigned long ProcessId() const = 0;
};

// Null with a reason when the program cannot be started.
std::unique_ptr<ChildProcess> StartChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                                                std::string& error);

}  // namespace qv::host
