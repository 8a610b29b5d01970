#include "platform/linux/linux_proc.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <vector>

#include "platform/linux/linux_system.h"
#include "platform/linux/linux_unique_fd.h"

namespace qv {

namespace {

// /proc/PID/stat is one line of well under a page; /proc/stat is longer on
// machines with many processors, but btime sits in its first lines.
constexpr std::size_t kMaxStatBytes = 4096;
constexpr std::size_t kMaxSystemStatBytes = 1 << 20;
constexpr std::size_t kMaxPathBytes = 1 << 16;

template <class T>
bool ParseNumber(std::string_view text, T& value) {
    if (text.empty()) return false;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

// 0 or errno; at most limit bytes.
int ReadSmallFile(const std::string& path, std::size_t limit, std::string& content) {
    content.clear();
    CUniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) return errno;
    char buffer[4096];
    while (content.size() < limit) {
        ssize_t n = ::read(fd.get(), buffer, std::min(sizeof buffer, limit - content.size()));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno;
        if (n == 0) break;
        content.append(buffer, static_cast<std::size_t>(n));
    }
    return 0;
}

}  // namespace

bool ParseProcStat(std::string_view text, ProcStat& stat) {
    const auto open = text.find('(');
    const auto close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return false;
    std::vector<std::string_view> fields;  // from field 3 on
    std::size_t at = close + 1;
    while (at < text.size() && fields.size() < 20) {
        while (at < text.size() && (text[at] == ' ' || text[at] == '\n')) ++at;
        std::size_t end = at;
        while (end < text.size() && text[end] != ' ' && text[end] != '\n') ++end;
        if (end > at) fields.push_back(text.substr(at, end - at));
        at = end;
    }
    // Field n is fields[n - 3].
    if (fields.size() < 20) return false;
    ProcStat parsed;
    parsed.comm = std::string(text.substr(open + 1, close - open - 1));
    if (!ParseNumber(fields[1], parsed.parentPid) || !ParseNumber(fields[11], parsed.userTicks) ||
        !ParseNumber(fields[12], parsed.kernelTicks) || !ParseNumber(fields[19], parsed.startTicks))
        return false;
    stat = std::move(parsed);
    return true;
}

int ReadProcStat(pid_t pid, ProcStat& stat) {
    std::string text;
    if (int error = ReadSmallFile("/proc/" + std::to_string(pid) + "/stat", kMaxStatBytes, text); error != 0)
        return error;
    // An empty read is a process that went while it was read.
    if (text.empty()) return ENOENT;
    return ParseProcStat(text, stat) ? 0 : EINVAL;
}

std::string WithoutDeletedSuffix(std::string path) {
    static constexpr std::string_view kDeleted = " (deleted)";
    if (path.size() > kDeleted.size() && path.compare(path.size() - kDeleted.size(), kDeleted.size(), kDeleted) == 0)
        path.resize(path.size() - kDeleted.size());
    return path;
}

int ReadExecutablePath(pid_t pid, std::string& path) {
    path.clear();
    const std::string link = "/proc/" + std::to_string(pid) + "/exe";
    std::vector<char> buffer(256);
    for (;;) {
        ssize_t n = ::readlink(link.c_str(), buffer.data(), buffer.size());
        if (n < 0) return errno;
        if (static_cast<std::size_t>(n) < buffer.size()) {
            path = WithoutDeletedSuffix(std::string(buffer.data(), static_cast<std::size_t>(n)));
            return 0;
        }
        if (buffer.size() >= kMaxPathBytes) return ENAMETOOLONG;
        buffer.resize(buffer.size() * 4);
    }
}

std::string FileNameOf(const std::string& path) {
    auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::optional<uint64_t> BootTimeSeconds() {
    static const std::optional<uint64_t> bootTime = []() -> std::optional<uint64_t> {
        std::string text;
        if (ReadSmallFile("/proc/stat", kMaxSystemStatBytes, text) != 0) return std::nullopt;
        static constexpr std::string_view kKey = "btime ";
        std::size_t at = 0;
        while (at < text.size()) {
            std::size_t end = text.find('\n', at);
            if (end == std::string::npos) end = text.size();
            std::string_view line(text.data() + at, end - at);
            uint64_t seconds = 0;
            if (line.substr(0, kKey.size()) == kKey && ParseNumber(line.substr(kKey.size()), seconds)) return seconds;
            at = end + 1;
        }
        return std::nullopt;
    }();
    return bootTime;
}

uint64_t ClockTicksToFileTimeTicks(uint64_t clockTicks) {
    static const uint64_t perSecond = [] {
        long ticks = ::sysconf(_SC_CLK_TCK);
        return ticks > 0 ? static_cast<uint64_t>(ticks) : uint64_t{100};
    }();
    constexpr uint64_t kFileTimeTicksPerSecond = 10'000'000;
    return clockTicks / perSecond * kFileTimeTicksPerSecond +
           clockTicks % perSecond * kFileTimeTicksPerSecond / perSecond;
}

FILETIME StartTimeAsFileTime(uint64_t bootSeconds, uint64_t startTicks) {
    return FILETIME::FromTicks(kFileTimeUnixEpoch + bootSeconds * 10'000'000 + ClockTicksToFileTimeTicks(startTicks));
}

}  // namespace qv
