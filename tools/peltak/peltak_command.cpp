#include "peltak_command.h"

#include <cstdio>
#include <limits>
#include <unordered_set>

#include "classify/media_file_extensions.h"
#include "core/text.h"
#include "native_host_mode.h"
#include "open_files.h"

namespace qv::peltak {

namespace {

// Decimal digits only, no sign, and a value that fits a process id; 0 is no
// process.
bool ParseProcessId(const std::wstring& text, uint32_t& processId) {
    if (text.empty() || text.size() > 10) return false;
    uint64_t value = 0;
    for (wchar_t c : text) {
        if (c < L'0' || c > L'9') return false;
        value = value * 10 + static_cast<uint64_t>(c - L'0');
    }
    if (value == 0 || value > std::numeric_limits<uint32_t>::max()) return false;
    processId = static_cast<uint32_t>(value);
    return true;
}

// The argument as the user gave it, in quotes, for a message.
std::string Quoted(const std::wstring& argument) {
    std::string text = "'";
    text += WideToUtf8(argument);
    text += "'";
    return text;
}

Command Invalid(std::string problem) {
    Command command;
    command.problem = std::move(problem);
    return command;
}

void PrintError(const std::string& text) { std::fputs(("PELTAK64: " + text + "\n").c_str(), stderr); }

}  // namespace

Command ParseCommand(const std::vector<std::wstring>& arguments) {
    Command command;
    if (!arguments.empty() && (arguments[0] == L"--help" || arguments[0] == L"-h" || arguments[0] == L"/?")) {
        command.mode = arguments.size() == 1 ? Mode::Help : Mode::Invalid;
        if (arguments.size() != 1) command.problem = "--help takes no other arguments";
        return command;
    }
    if (arguments.empty() || arguments[0] != kListOpenFilesSelector) {
        // The browser starts its host with arguments of its own (the
        // caller's origin, a parent window): they are the host's to read.
        command.mode = Mode::NativeHost;
        return command;
    }
    if (arguments.size() < 2) return Invalid("the process id is missing");
    if (!ParseProcessId(arguments[1], command.processId))
        return Invalid(Quoted(arguments[1]) + " is not a process id (a decimal number from 1 to 4294967295)");
    if (arguments.size() < 3) return Invalid("the interop file's path is missing");
    if (arguments[2].empty()) return Invalid("the interop file's path is empty");
    if (arguments.size() > 3) return Invalid("unexpected argument " + Quoted(arguments[3]));
    command.interopPath = arguments[2];
    command.mode = Mode::ListOpenFiles;
    return command;
}

std::string UsageText() {
    return "Usage: PELTAK64 " + WideToUtf8(kListOpenFilesSelector) +
           " PID \"INTEROP-FILE\"\n"
           "       PELTAK64 [BROWSER-ARGUMENTS...]\n"
           "       PELTAK64 --help\n"
           "\n"
           "With the mode selector, PELTAK64 lists the files that process PID holds\n"
           "open, keeps the video and audio files among them (by their extensions)\n"
           "and writes the two lists into INTEROP-FILE. The file must exist; it is\n"
           "written from its start and ends where the lists end.\n"
           "\n"
           "Without the selector, PELTAK64 is the browser's native-messaging host,\n"
           "started by the browser with arguments of its own. It reads the add-on's\n"
           "messages from standard input (a 4-byte little-endian length, then\n"
           "UTF-8 JSON of at most 64 MB), passes each to the running ContentClassifier\n"
           "with the browser's process id and path, and writes each reply back the\n"
           "same way (at most 1 MB). When no classifier answers, the reply is\n"
           "{\"error\":\"classifier not running\"}. Problems go to standard error.\n"
           "\n"
           "Exit codes: 0 the interop file is complete, or the browser closed the\n"
           "host's input; 1 the files could not be listed or the interop file not\n"
           "written; 2 a wrong command line; 3 the host's input broke off inside a\n"
           "message or announced one over 64 MB, or its output closed; 4 the host\n"
           "has no pipes to reach the classifier.\n";
}

OpenedMediaFileLists SortOpenedMediaFiles(const std::vector<std::wstring>& paths) {
    OpenedMediaFileLists lists;
    std::unordered_set<std::wstring> video;
    std::unordered_set<std::wstring> audio;
    for (const std::wstring& path : paths) {
        switch (MediaFileKindOfPath(path)) {
            case MediaFileKind::Video:
                if (video.insert(path).second) lists.video.push_back(path);
                break;
            case MediaFileKind::Audio:
                if (audio.insert(path).second) lists.audio.push_back(path);
                break;
            case MediaFileKind::Other: break;
        }
    }
    return lists;
}

std::wstring UserPathOfFinalPath(const std::wstring& path) {
    const std::wstring_view local = LR"(\\?\)", remote = LR"(\\?\UNC\)";
    if (path.starts_with(remote)) return LR"(\\)" + path.substr(remote.size());
    if (path.starts_with(local)) return path.substr(local.size());
    return path;
}

int RunPeltak(const std::vector<std::wstring>& arguments) {
    const Command command = ParseCommand(arguments);
    switch (command.mode) {
        case Mode::Help: std::fputs(UsageText().c_str(), stdout); return kExitListed;
        case Mode::Invalid:
            PrintError(command.problem);
            std::fputs(UsageText().c_str(), stderr);
            return kExitUsage;
        case Mode::NativeHost: return RunNativeHostOnStandardStreams();
        case Mode::ListOpenFiles: break;
    }

    std::vector<std::wstring> paths;
    std::string problem;
    if (ListOpenFiles(command.processId, paths, problem) != 0) {
        PrintError(problem);
        return kExitListingFailed;
    }
    const std::vector<uint8_t> content = EncodeInteropFile(SortOpenedMediaFiles(paths));
    if (WriteInteropFile(command.interopPath, content, problem) != 0) {
        PrintError(problem);
        return kExitListingFailed;
    }
    return kExitListed;
}

}  // namespace qv::peltak
