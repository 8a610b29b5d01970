// Puts a content-discrimination library beside a simulated executable, under
// the plug-in's own name, in a folder of its own, and loads it as the start of
// the process would. The loader's state is process-wide: the object unloads
// the plug-in when it goes, and then removes the folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/sim/sim_platform.h"

namespace qv::test {

class PluginBeside {
public:
    // Points the simulated executable into a new, empty folder.
    explicit PluginBeside(CSimPlatform& platform);
    ~PluginBeside();
    PluginBeside(const PluginBeside&) = delete;
    PluginBeside& operator=(const PluginBeside&) = delete;

    // Copies a library that the build made (its base name, as in the build)
    // to the folder as the plug-in. The first form takes the plug-in and its
    // doubles of tools/plugins, the second the doubles of these tests.
    bool Place(const std::wstring& builtBaseName);
    bool PlaceTestDouble(const std::wstring& builtBaseName);
    // Writes a file of the plug-in's name that is no library at all.
    bool PlaceGarbage();
    // LoadContentDiscrimination with a callback that keeps every message.
    bool Load();

    const std::filesystem::path& Folder() const { return m_folder; }
    std::filesystem::path PluginPath() const;
    std::vector<std::pair<std::wstring, uint32_t>> messages;

private:
    bool Copy(const std::filesystem::path& fromFolder, const std::wstring& builtBaseName);

    CSimPlatform& m_platform;
    std::filesystem::path m_folder;
};

}  // namespace qv::test
