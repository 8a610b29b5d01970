// The content-discrimination plug-in that a scenario names, put where the
// classifier looks for it: a folder of its own holds a copy under the
// plug-in's file name, and the simulated executable is pointed into that
// folder. The folder goes with the object, after the classifier has let go
// of the library (RunContentClassifier unloads it before it returns).
#pragma once

#include <filesystem>
#include <string>

#include "platform/sim/sim_platform.h"

namespace qv::replay {

class PluginFolder {
public:
    PluginFolder() = default;
    ~PluginFolder();
    PluginFolder(const PluginFolder&) = delete;
    PluginFolder& operator=(const PluginFolder&) = delete;

    // Copies the library of that build name from the folder the build made
    // the plug-ins in; false, with the reason, when it cannot.
    bool Place(CSimPlatform& platform, const std::string& builtBaseName, std::string& error);

private:
    std::filesystem::path m_folder;
};

}  // namespace qv::replay
