// The command line of qv_companion.
#pragma once

#include <string>
#include <vector>

namespace qv::companion {

struct CompanionApp {
    std::wstring packageFamilyName;
    std::wstring appServiceName;
};

struct Options {
    std::vector<CompanionApp> apps;  // every supported app unless --app says
    bool notificationsOff = false;
    bool help = false;
    std::string error;  // set when the command line is wrong
};

Options ParseOptions(int argc, char** argv);
extern const char* const kUsage;

}  // namespace qv::companion
