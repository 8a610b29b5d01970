// The host tool's command line.
#pragma once

#include <string>
#include <vector>

namespace qv::host {

inline constexpr const char* kDefaultPipe = "\\\\.\\pipe\\QuorvaneHost";

struct Options {
    std::string pipe = kDefaultPipe;
    std::string endpoint;
    std::string classifier;
    bool startClassifier = true;
    bool help = false;
    long count = 0;      // stop after this many messages; 0: no limit
    double seconds = 0;  // stop after this long; 0: no limit
    std::vector<std::string> extra;
};

void PrintHelp();
// False with a message for the user when the arguments do not hold.
bool ParseOptions(int argc, char** argv, Options& options, std::string& error);

}  // namespace qv::host
