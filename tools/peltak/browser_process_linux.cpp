// On Linux the browser starts its host itself, so the browser is the
// parent; its executable is the target of /proc/PPID/exe.
#include <unistd.h>

#include <cstring>

#include "browser_process.h"
#include "core/text.h"
#include "platform/linux/linux_proc.h"

namespace qv::peltak {

bool FindBrowserProcess(BrowserProcess& browser, std::string& problem) {
    ProcStat stat;
    if (const int error = ReadProcStat(::getpid(), stat); error != 0) {
        problem = std::string("cannot read this process's parent from /proc/self/stat: ") + std::strerror(error);
        return false;
    }
    browser.processId = stat.parentPid;
    std::string path;
    if (const int error = ReadExecutablePath(static_cast<pid_t>(stat.parentPid), path); error != 0) {
        problem = "cannot read the executable of the browser (process " + std::to_string(stat.parentPid) +
                  "): " + std::strerror(error);
        return false;
    }
    browser.path = Utf8ToWide(path);
    return true;
}

}  // namespace qv::peltak
