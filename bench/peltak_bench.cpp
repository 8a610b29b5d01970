// One listing of PELTAK64 in-process: a child holds 1,000 files open (a
// third each video, audio and other), and every iteration reads its open
// descriptors, sorts the paths into the two lists and encodes the interop
// file, as the helper does between its start and its write.
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "open_files.h"
#include "peltak_command.h"
#include "platform/linux/linux_unique_fd.h"

namespace {

namespace fs = std::filesystem;

constexpr int kOpenFiles = 1000;

// The child, made once for the whole program; it ends when its pipe closes.
class FileHoldingChild {
public:
    FileHoldingChild() {
        // The usual limit of 1,024 descriptors leaves too little room.
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        if (limit.rlim_cur < kOpenFiles + 64) return;

        m_folder = fs::temp_directory_path() / ("qv-peltak-bench-" + std::to_string(::getpid()));
        fs::create_directories(m_folder);
        const char* extensions[] = {".mp4", ".mp3", ".txt"};
        std::vector<std::string> files;
        for (int i = 0; i < kOpenFiles; ++i) {
            files.push_back((m_folder / ("file-" + std::to_string(i) + extensions[i % 3])).string());
            std::ofstream(files.back()) << i;
        }
        int ready[2], hold[2];
        if (::pipe2(ready, O_CLOEXEC) != 0 || ::pipe2(hold, O_CLOEXEC) != 0) return;
        const qv::CUniqueFd readyRead(ready[0]), childReady(ready[1]), childHold(hold[0]);
        m_hold.reset(hold[1]);
        m_pid = ::fork();
        if (m_pid == 0) {
            m_hold.reset();
            for (const std::string& file : files)
                if (::open(file.c_str(), O_RDONLY) < 0) ::_exit(1);
            char signal = 'r';
            if (::write(childReady.get(), &signal, 1) != 1) ::_exit(2);
            while (::read(childHold.get(), &signal, 1) > 0) {
            }
            ::_exit(0);
        }
        pollfd wait{readyRead.get(), POLLIN, 0};
        char signal = 0;
        m_ready = m_pid > 0 && ::poll(&wait, 1, 30000) == 1 && ::read(readyRead.get(), &signal, 1) == 1;
    }
    ~FileHoldingChild() {
        m_hold.reset();
        if (m_pid > 0) ::waitpid(m_pid, nullptr, 0);
        std::error_code ignored;
        if (!m_folder.empty()) fs::remove_all(m_folder, ignored);
    }
    bool Ready() const { return m_ready; }
    uint32_t ProcessId() const { return static_cast<uint32_t>(m_pid); }

private:
    fs::path m_folder;
    qv::CUniqueFd m_hold;
    pid_t m_pid = -1;
    bool m_ready = false;
};

void BM_ListOpenMediaFilesOfAThousand(benchmark::State& state) {
    static FileHoldingChild child;
    if (!child.Ready()) {
        state.SkipWithError("the child could not hold 1,000 files open");
        return;
    }
    size_t listed = 0;
    for (auto _ : state) {
        std::vector<std::wstring> paths;
        std::string problem;
        if (qv::peltak::ListOpenFiles(child.ProcessId(), paths, problem) != 0) {
            state.SkipWithError(problem.c_str());
            return;
        }
        const qv::OpenedMediaFileLists lists = qv::peltak::SortOpenedMediaFiles(paths);
        listed = lists.video.size() + lists.audio.size();
        benchmark::DoNotOptimize(qv::EncodeInteropFile(lists));
    }
    state.counters["media_files"] = static_cast<double>(listed);
}
BENCHMARK(BM_ListOpenMediaFilesOfAThousand)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
