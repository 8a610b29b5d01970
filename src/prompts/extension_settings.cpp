#include "prompts/extension_settings.h"

#include <cmath>
#include <limits>

#include "platform/codes.h"

namespace qv {

std::wstring ExtensionSettingsFolder(const std::wstring& localAppData) {
    const wchar_t separator = !localAppData.empty() && localAppData[0] == L'/' ? L'/' : L'\\';
    std::wstring folder = localAppData;
    for (const wchar_t* part : {L"Quorvane", L"ContentClassifier", L"Settings"})
        folder += separator + std::wstring(part);
    return folder + separator;
}

std::wstring ExtensionSettingsPath(const std::wstring& localAppData, const std::wstring& extensionId) {
    return ExtensionSettingsFolder(localAppData) + extensionId + L".json";
}

nlohmann::json ParseExtensionSettings(const std::vector<uint8_t>& bytes) {
    // Depth is bounded by the parser's callback: a settings file never nests,
    // and a file of a million brackets must not exhaust the stack.
    constexpr int kMaxDepth = 16;
    nlohmann::json parsed = nlohmann::json::parse(
        bytes.begin(), bytes.end(),
        [](int depth, nlohmann::json::parse_event_t, nlohmann::json&) { return depth <= kMaxDepth; },
        /*allow_exceptions=*/false);
    if (!parsed.is_object()) return nlohmann::json::object();
    return parsed;
}

std::vector<uint8_t> SerializeExtensionSettings(const nlohmann::json& settings) {
    // Text that came from the file may hold invalid UTF-8; it is replaced, not
    // refused, so that the rest of the settings is still written.
    const std::string text = settings.dump(4, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    return {text.begin(), text.end()};
}

bool BoolSetting(const nlohmann::json& settings, const std::string& key, bool fallback) {
    auto it = settings.find(key);
    return it != settings.end() && it->is_boolean() ? it->get<bool>() : fallback;
}

std::string TextSetting(const nlohmann::json& settings, const std::string& key) {
    auto it = settings.find(key);
    return it != settings.end() && it->is_string() ? it->get<std::string>() : std::string();
}

uint32_t SecondsSetting(const nlohmann::json& settings, const std::string& key) {
    auto it = settings.find(key);
    if (it == settings.end() || !it->is_number()) return 0;
    if (it->is_number_unsigned()) {
        const uint64_t value = it->get<uint64_t>();
        return value <= std::numeric_limits<uint32_t>::max() ? static_cast<uint32_t>(value) : 0;
    }
    if (it->is_number_integer()) return 0;  // negative
    const double value = it->get<double>();
    if (!(value >= 0 && value <= std::numeric_limits<uint32_t>::max()) || value != std::floor(value)) return 0;
    return static_cast<uint32_t>(value);
}

void CreateFolders(IFiles& files, const std::wstring& path) {
    for (size_t i = 1; i < path.size(); ++i)
        if (path[i] == L'\\' || path[i] == L'/') files.CreateDirectory(path.substr(0, i));
    files.CreateDirectory(path);
}

Win32Error WriteFileAtomically(IFiles& files, const std::wstring& path, const std::vector<uint8_t>& content) {
    const std::wstring beside = path + L".new";
    if (Win32Error error = files.WriteWholeFile(beside, content); error != ERROR_SUCCESS) return error;
    return files.MoveFileEx(beside, path);
}

}  // namespace qv
