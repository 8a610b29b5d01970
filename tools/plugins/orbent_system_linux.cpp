// The reference ORBENT64's system half on Linux: the parameter file below
// ${XDG_DATA_HOME:-$HOME/.local/share}/quorvane, the browsers' profiles below
// ${XDG_CONFIG_HOME:-$HOME/.config}, browsers started from the PATH.
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "core/text.h"
#include "orbent_system.h"

extern char** environ;

namespace orbent {

namespace {

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// $VARIABLE, else $HOME/fallback; empty when neither is known.
std::string UserFolder(const char* variable, const char* fallback) {
    std::string folder = Environment(variable);
    if (!folder.empty() && folder[0] == '/') return folder;
    const std::string home = Environment("HOME");
    return home.empty() ? std::string() : home + "/" + fallback;
}

std::string ParameterFilePath() {
    const std::string overridden = Environment("QUORVANE_ORBENT_FILE");
    if (!overridden.empty()) return overridden;
    const std::string data = UserFolder("XDG_DATA_HOME", ".local/share");
    return data.empty() ? std::string() : data + "/quorvane/orbent-parameters.json";
}

void MakeFolders(const std::string& file) {
    for (std::size_t slash = file.find('/', 1); slash != std::string::npos; slash = file.find('/', slash + 1))
        ::mkdir(file.substr(0, slash).c_str(), 0700);
}

struct Descriptor {
    explicit Descriptor(int fd) : fd(fd) {}
    ~Descriptor() {
        if (fd >= 0) ::close(fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int fd;
};

bool IsFolder(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Starts program with words in the background through the shell, which
// says whether the program is there: the browser is left to init, so no
// child of ours is left for the host program to reap.
bool StartDetached(const std::string& program, const std::vector<std::wstring>& words) {
    static const char script[] =
        "case \"$0\" in */*) [ -f \"$0\" ] && [ -x \"$0\" ] || exit 127 ;;\n"
        "*) command -v \"$0\" >/dev/null 2>&1 || exit 127 ;; esac\n"
        "\"$0\" \"$@\" </dev/null >/dev/null 2>&1 &\n";
    std::vector<std::string> arguments = {"sh", "-c", script, program};
    for (const std::wstring& word : words) arguments.push_back(qv::WideToUtf8(word));
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (::posix_spawnp(&pid, "sh", nullptr, nullptr, argv.data(), environ) != 0) return false;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

bool ReadParameterText(std::string& text) {
    const std::string path = ParameterFilePath();
    if (path.empty()) return false;
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.fd < 0) return false;
    text.clear();
    char buffer[8192];
    for (;;) {
        const ssize_t n = ::read(file.fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) return true;
        text.append(buffer, static_cast<std::size_t>(n));
        // A file this large is none of ours; it reads as empty.
        if (text.size() > 64 * 1024 * 1024) return false;
    }
}

uint32_t WriteParameterText(const std::string& text) {
    const std::string path = ParameterFilePath();
    if (path.empty()) return 2;  // ERROR_FILE_NOT_FOUND: no home to keep it in
    MakeFolders(path);
    const std::string temporary = path + ".tmp-" + std::to_string(::getpid());
    {
        Descriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        if (file.fd < 0) return 5;  // ERROR_ACCESS_DENIED
        std::size_t written = 0;
        while (written < text.size()) {
            const ssize_t n = ::write(file.fd, text.data() + written, text.size() - written);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                ::unlink(temporary.c_str());
                return 29;  // ERROR_WRITE_FAULT
            }
            written += static_cast<std::size_t>(n);
        }
        ::fsync(file.fd);
    }
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        ::unlink(temporary.c_str());
        return 29;
    }
    return 0;
}

ExtensionState ExtensionStateOf(Browser browser, const std::wstring& extensionId) {
    const std::string config = UserFolder("XDG_CONFIG_HOME", ".config");
    if (config.empty()) return ExtensionState::NoProfile;
    std::vector<std::string> profiles;
    if (browser == Browser::Chrome) profiles = {config + "/google-chrome/Default", config + "/chromium/Default"};
    if (browser == Browser::Edge) profiles = {config + "/microsoft-edge/Default"};
    ExtensionState state = ExtensionState::NoProfile;
    for (const std::string& profile : profiles) {
        if (!IsFolder(profile)) continue;
        if (IsFolder(profile + "/Extensions/" + qv::WideToUtf8(extensionId))) return ExtensionState::Installed;
        state = ExtensionState::Missing;
    }
    return state;
}

bool StartBrowser(Browser browser, const std::wstring& arguments) {
    const std::vector<std::wstring> words = SplitArguments(arguments);
    const std::string overridden = Environment("QUORVANE_ORBENT_BROWSER");
    if (!overridden.empty()) return StartDetached(overridden, words);
    if (browser == Browser::Chrome) return StartDetached("google-chrome", words) || StartDetached("chromium", words);
    if (browser == Browser::Edge) return StartDetached("microsoft-edge", words);
    return false;
}

}  // namespace orbent
