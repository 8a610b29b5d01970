#include "shell/native_host_path.h"

#include "core/text.h"
#include "platform/codes.h"
#include "platform/platform.h"

namespace qv {

namespace {

// _splitpath_s's buffer for the folder, terminator included.
constexpr std::size_t kFolderBufferChars = 256;

constexpr const char* kHostPathPlaceholder = "${NativeHostExePath}";

}  // namespace

const NativeHostLayout& NativeHostLayoutOf(IFiles* files) {
    std::wstring userConfigFolder;
    const bool browsersReadFolders = files && files->GetUserConfigFolder(userConfigFolder) == ERROR_SUCCESS;
    return browsersReadFolders ? kLinuxNativeHost : kWindowsNativeHost;
}

std::optional<std::string> ProgramPath(IPlatform& platform) {
    CRefPtr<ISystem> system = platform.System();
    std::wstring path;
    if (!system || system->GetModuleFileName(path) != ERROR_SUCCESS || path.empty()) return std::nullopt;
    return WideToUtf8(path);
}

std::string ProgramDriveAndFolder(const std::string& programPath) {
    const std::size_t driveLength = programPath.size() >= 2 && programPath[1] == ':' ? 2 : 0;
    const std::size_t lastSeparator = programPath.find_last_of("\\/");
    std::string folder;
    if (lastSeparator != std::string::npos && lastSeparator >= driveLength)
        folder = programPath.substr(driveLength, lastSeparator + 1 - driveLength);
    if (folder.size() >= kFolderBufferChars) return {};
    return programPath.substr(0, driveLength) + folder;
}

std::string NativeHostPath(const std::optional<std::string>& programPath, const NativeHostLayout& layout) {
    std::string path = programPath ? ProgramDriveAndFolder(*programPath) : std::string();
    if (!path.empty() && path.back() != layout.separator) path += layout.separator;
    return path + layout.executableName;
}

std::string DoubleBackslashes(const std::string& text) {
    std::string doubled;
    doubled.reserve(text.size());
    for (char c : text) {
        doubled += c;
        if (c == '\\') doubled += '\\';
    }
    return doubled;
}

std::string FillManifestTemplate(std::string manifestTemplate, const std::string& hostPath) {
    const std::string placeholder = kHostPathPlaceholder;
    const std::size_t at = manifestTemplate.find(placeholder);
    if (at != std::string::npos) manifestTemplate.replace(at, placeholder.size(), hostPath);
    return manifestTemplate;
}

}  // namespace qv
