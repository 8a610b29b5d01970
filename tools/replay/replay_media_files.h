// The replay's stand-ins for what a player's open file goes through on a
// real machine: the lister answers the classifier's command line through the
// interop file, as PELTAK64 does, and the simulated decoder gives the file's
// facts and its sound as 16-bit or 8-bit PCM buffers. The classifier then
// reads both through its own code, the interop reader and the examination
// included.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "scenario.h"
#include "sessions/interop_file_format.h"

namespace qv::replay {

class CReplayMediaFiles {
public:
    // Answers every lister that the classifier starts from now on.
    explicit CReplayMediaFiles(CRefPtr<CSimPlatform> platform);

    // The player's process holds the file open from now on: the next runs of
    // the lister find it. The samples, if any, are the sound it decodes to.
    // False, with the reason, for a resolution whose sound cannot be made.
    bool Open(const FileSpec& file, const std::vector<float>* samples, std::string& problem);

private:
    uint32_t RunLister(const std::wstring& commandLine);

    const CRefPtr<CSimPlatform> m_platform;
    std::mutex m_mutex;
    std::map<uint32_t, OpenedMediaFileLists> m_open;  // by process id
};

}  // namespace qv::replay
