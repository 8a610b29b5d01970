// PELTAK64's command line and what it does with it, apart from the system:
// the mode selector, the process id and the interop file's path; the usage
// text; the sorting of open files into the video and audio lists.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sessions/interop_file_format.h"

namespace qv::peltak {

// The first argument that makes PELTAK64 the lister of a process's open
// media files. Without it, the browser has started it as its
// native-messaging host.
inline constexpr const wchar_t* kListOpenFilesSelector = L"{B5A1C3D7-9E42-4F06-8C1B-2D7E6F30A914}";

// Exit codes.
inline constexpr int kExitListed = 0;         // the interop file is complete
inline constexpr int kExitListingFailed = 1;  // no such process, no access, file not written
inline constexpr int kExitUsage = 2;          // the command line is wrong
// As the native-messaging host:
inline constexpr int kExitInputEnded = 0;   // the browser closed standard input
inline constexpr int kExitInputBroken = 3;  // the framing broke, or standard output closed

enum class Mode { Help, ListOpenFiles, NativeHost, Invalid };

struct Command {
    Mode mode = Mode::Invalid;
    uint32_t processId = 0;
    std::wstring interopPath;
    std::string problem;  // what is wrong, for Mode::Invalid
};

// The arguments after the program's own name.
Command ParseCommand(const std::vector<std::wstring>& arguments);

std::string UsageText();

// The media files among the paths, each kind in its own list by its
// extension, every path once per list, in the order found; other files are
// left out.
OpenedMediaFileLists SortOpenedMediaFiles(const std::vector<std::wstring>& paths);

// A final path as Windows gives it (GetFinalPathNameByHandleW), as a user
// writes it: "C:\a" for "\\?\C:\a", "\\server\share" for
// "\\?\UNC\server\share"; any other path as it is.
std::wstring UserPathOfFinalPath(const std::wstring& path);

// The whole program after the arguments are read: what it prints goes to
// stdout (help) and stderr (everything else). Gives the exit code.
int RunPeltak(const std::vector<std::wstring>& arguments);

}  // namespace qv::peltak
