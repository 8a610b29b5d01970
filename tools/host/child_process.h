// The classifier as the host's child: started with its arguments, asked to
// stop the way the platform lets the user stop it (an interrupt that the
// classifier turns into its quit message), and killed only if it does not.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace qv::host {

class ChildProcess {
public:
    virtual ~ChildProcess() = default;
    // Asks it to stop, waits up to the grace time, then ends it by force.
    // Gives its exit code, or -1 if it had to be killed.
    virtual int Stop(std::chrono::milliseconds grace) = 0;
    // Whether it still runs.
    virtual bool Running() = 0;
    virtual unsigned long ProcessId() const = 0;
};

// Null with a reason when the program cannot be started.
std::unique_ptr<ChildProcess> StartChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                                                std::string& error);

}  // namespace qv::host
