// The native host's path as the manifest names it: the host executable sits
// beside the program, so its path is the program's drive and folder and the
// host's own name.
#pragma once

#include <optional>
#include <string>

namespace qv {

// The host executable's name and the separator that joins it to the folder.
// The host is PELTAK64 on both platforms; on Windows it is an .exe.
struct NativeHostLayout {
    const char* executableName;
    char separator;
};
inline constexpr NativeHostLayout kWindowsNativeHost{"PELTAK64.exe", '\\'};
inline constexpr NativeHostLayout kLinuxNativeHost{"PELTAK64", '/'};

struct IPlatform;

struct IFiles;

// Where there is a user configuration folder (Linux) the browsers read their
// manifests from folders and the helper beside the program is a Linux
// program; elsewhere it is a Windows one.
const NativeHostLayout& NativeHostLayoutOf(IFiles* files);

// The running program's path as UTF-8 (on Windows too, where UTF-8 names the
// same file and keeps the characters that the code page lacks); nothing when
// the platform cannot tell it.
std::optional<std::string> ProgramPath(IPlatform& platform);

// The drive and folder of the program's path as _splitpath_s splits them
// (either slash separates), joined. Empty when the folder does not fit the
// 256-character buffer that the split is given, as when the split fails.
std::string ProgramDriveAndFolder(const std::string& programPath);

// The host's path beside the program; its name alone when there is no
// program path or it has no drive and folder.
std::string NativeHostPath(const std::optional<std::string>& programPath, const NativeHostLayout& layout);

// Every backslash doubled, so that the path reads back from a JSON string.
std::string DoubleBackslashes(const std::string& text);

// The template with its first "${NativeHostExePath}" replaced by the path.
std::string FillManifestTemplate(std::string manifestTemplate, const std::string& hostPath);

}  // namespace qv
