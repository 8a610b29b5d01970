#include "plugin_folder.h"

#include <chrono>
#include <system_error>

#include "core/text.h"

namespace qv::replay {

PluginFolder::~PluginFolder() {
    if (m_folder.empty()) return;
    std::error_code error;
    std::filesystem::remove_all(m_folder, error);
}

bool PluginFolder::Place(CSimPlatform& platform, const std::string& builtBaseName, std::string& error) {
    // Two replays may run at once (the tests do): each has a folder of its own.
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    m_folder = std::filesystem::temp_directory_path() / ("quorvane-replay-plugin-" + std::to_string(stamp));
    std::error_code fault;
    std::filesystem::create_directories(m_folder, fault);
    const std::filesystem::path from =
        std::filesystem::path(QV_REPLAY_PLUGINS_DIR) / platform.Plugins()->LibraryFileName(Utf8ToWide(builtBaseName));
    const std::filesystem::path to = m_folder / platform.Plugins()->LibraryFileName(L"ZKAICC64");
    if (!fault) std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, fault);
    if (fault) {
        error = "cannot put " + from.string() + " beside the program: " + fault.message();
        return false;
    }
    platform.SimSystem->SetModuleFileName((m_folder / L"ContentClassifier").wstring());
    return true;
}

}  // namespace qv::replay
