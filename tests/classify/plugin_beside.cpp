#include "plugin_beside.h"

#include <atomic>
#include <fstream>
#include <system_error>

#include "classify/content_discrimination.h"
#include "support/build_path.h"

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

namespace qv::test {

namespace {

int ProcessId() {
#ifdef _WIN32
    return _getpid();
#else
    return static_cast<int>(::getpid());
#endif
}

std::wstring ExecutableName() {
#ifdef _WIN32
    return L"ContentClassifier.exe";
#else
    return L"ContentClassifier";
#endif
}

}  // namespace

PluginBeside::PluginBeside(CSimPlatform& platform) : m_platform(platform) {
    static std::atomic<int> counter{0};
    m_folder = std::filesystem::temp_directory_path() /
               ("qv-plugin-test-" + std::to_string(ProcessId()) + "-" + std::to_string(counter.fetch_add(1)));
    std::error_code error;
    std::filesystem::remove_all(m_folder, error);
    std::filesystem::create_directories(m_folder, error);
    m_platform.SimSystem->SetModuleFileName((m_folder / ExecutableName()).wstring());
}

PluginBeside::~PluginBeside() {
    UnloadContentDiscrimination();
    std::error_code error;
    std::filesystem::remove_all(m_folder, error);
}

std::filesystem::path PluginBeside::PluginPath() const {
    return m_folder / m_platform.Plugins()->LibraryFileName(L"ZKAICC64");
}

bool PluginBeside::Copy(const std::filesystem::path& fromFolder, const std::wstring& builtBaseName) {
    std::error_code error;
    const std::filesystem::path from = fromFolder / m_platform.Plugins()->LibraryFileName(builtBaseName);
    std::filesystem::copy_file(from, PluginPath(), std::filesystem::copy_options::overwrite_existing, error);
    return !error;
}

bool PluginBeside::Place(const std::wstring& builtBaseName) {
    return Copy(BuildPath(QV_PLUGIN_DOUBLES_DIR), builtBaseName);
}

bool PluginBeside::PlaceTestDouble(const std::wstring& builtBaseName) {
    return Copy(BuildPath(QV_TEST_PLUGINS_DIR), builtBaseName);
}

bool PluginBeside::PlaceGarbage() {
    std::ofstream file(PluginPath(), std::ios::binary);
    file << "this is no library, only text where one was looked for\n";
    return static_cast<bool>(file);
}

bool PluginBeside::Load() {
    return LoadContentDiscrimination(
        [this](const std::wstring& message, uint32_t error) { messages.emplace_back(message, error); });
}

}  // namespace qv::test
