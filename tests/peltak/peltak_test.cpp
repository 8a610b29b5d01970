// PELTAK64 between real processes: a child holds media files and others
// open, and the helper, started with the command line that the classifier
// uses, sorts them into a real interop file. A process that is not there
// leaves the file incomplete; a wrong command line gets the usage.
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/native.h"
#include "platform/platform.h"
#include "sessions/interop_file_format.h"

#ifdef _WIN32
#include "platform/win32/win32_unique_handle.h"
#else
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

#include <cstdio>
#include <memory>

#include "platform/linux/linux_unique_fd.h"
#endif

namespace qv {
namespace {

namespace fs = std::filesystem;

const std::wstring kSelector = L"{B5A1C3D7-9E42-4F06-8C1B-2D7E6F30A914}";
// Above every process id that Linux gives, and none that Windows has given.
constexpr uint32_t kNoProcess = 0xFFFFFFF0u;

#ifdef _WIN32
constexpr const wchar_t* kPeltak = L"PELTAK64.exe";

// The child program beside the test, holding the files until it is let go.
class FileHolder {
public:
    FileHolder(const std::wstring& folder, const std::vector<fs::path>& files) {
        const std::wstring name = L"qv-peltak-" + std::to_wstring(::GetCurrentProcessId());
        m_ready.reset(::CreateEventW(nullptr, TRUE, FALSE, (name + L"-ready").c_str()));
        m_done.reset(::CreateEventW(nullptr, TRUE, FALSE, (name + L"-done").c_str()));
        const std::wstring program = folder + L"qv_peltak_test_child.exe";
        std::wstring commandLine = L"\"" + program + L"\" " + name + L"-ready " + name + L"-done";
        for (const fs::path& file : files) commandLine += L" \"" + file.wstring() + L"\"";
        EXPECT_EQ(GetPlatform()->Processes()->CreateProcess(program, commandLine, 0, m_process), 0u);
    }
    ~FileHolder() {
        ::SetEvent(m_done.get());
        if (m_process) GetPlatform()->Sync()->WaitForMultipleObjects({m_process.get()}, 30000);
    }
    bool Ready() { return m_process && ::WaitForSingleObject(m_ready.get(), 30000) == WAIT_OBJECT_0; }
    uint32_t ProcessId() const { return m_process->ProcessId(); }

private:
    CUniqueHandle m_ready, m_done;
    CRefPtr<IProcessHandle> m_process;
};
#else
constexpr const wchar_t* kPeltak = L"PELTAK64";

// A forked child: it opens the files, says so on one pipe and holds them
// until the other pipe closes. Its pipes are open descriptors too, of no
// file.
class FileHolder {
public:
    FileHolder(const std::wstring&, const std::vector<fs::path>& files) {
        int ready[2], hold[2];
        if (::pipe2(ready, O_CLOEXEC) != 0 || ::pipe2(hold, O_CLOEXEC) != 0) return;
        m_ready.reset(ready[0]);
        m_hold.reset(hold[1]);
        const CUniqueFd childReady(ready[1]), childHold(hold[0]);
        m_pid = ::fork();
        if (m_pid != 0) return;
        m_ready.reset();
        m_hold.reset();
        for (const fs::path& file : files)
            if (::open(file.c_str(), O_RDONLY) < 0) ::_exit(101);
        char signal = 'r';
        if (::write(childReady.get(), &signal, 1) != 1) ::_exit(102);
        while (::read(childHold.get(), &signal, 1) > 0) {
        }
        ::_exit(0);
    }
    ~FileHolder() {
        m_hold.reset();
        if (m_pid > 0) ::waitpid(m_pid, nullptr, 0);
    }
    bool Ready() {
        pollfd ready{m_ready.get(), POLLIN, 0};
        char signal = 0;
        return m_pid > 0 && ::poll(&ready, 1, 30000) == 1 && ::read(m_ready.get(), &signal, 1) == 1;
    }
    uint32_t ProcessId() const { return static_cast<uint32_t>(m_pid); }

private:
    CUniqueFd m_ready, m_hold;
    pid_t m_pid = -1;
};
#endif

struct Outcome {
    uint32_t code = 1000;
    std::string out, err;  // what it printed; not caught on Windows
};

class PeltakTest : public testing::Test {
protected:
    void SetUp() override {
        SetPlatform(platform);
        ASSERT_EQ(platform->System()->GetModuleFileName(folder), 0u);
        folder.resize(folder.find_last_of(L"\\/") + 1);
        std::string temp;
        ASSERT_EQ(platform->Files()->GetTempPath(temp), 0u);
        ASSERT_EQ(platform->Files()->GetTempFileName(temp, interopPath), 0u);
        ASSERT_EQ(platform->Files()->CreateTemporaryFile(interopPath, interop), 0u);
        media = fs::path(interopPath).replace_extension(".media");
        fs::create_directories(media);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(media, ignored);
        SetPlatform(nullptr);
    }

    fs::path MakeFile(const char* name) {
        std::ofstream(media / name) << "not really " << name;
        return media / name;
    }

    // Through the process port, with the command line as the classifier
    // builds it. On Linux also through the shell, to catch what it says.
    Outcome Run(const std::wstring& arguments) {
        const std::wstring program = folder + kPeltak;
        Outcome outcome;
#ifdef _WIN32
        CRefPtr<IProcessHandle> process;
        if (platform->Processes()->CreateProcess(program, L"\"" + program + L"\" " + arguments, 0, process) != 0 ||
            platform->Sync()->WaitForMultipleObjects({process.get()}, 30000) != kWaitObject0)
            return outcome;
        process->GetExitCodeProcess(outcome.code);
#else
        const fs::path errors = media / "stderr";
        const std::string command = "'" + WideToUtf8(program) + "' " + WideToUtf8(arguments) + " 2>" + errors.string();
        std::unique_ptr<FILE, int (*)(FILE*)> output(::popen(command.c_str(), "r"), ::pclose);
        char buffer[4096];
        while (output && std::fgets(buffer, sizeof buffer, output.get())) outcome.out += buffer;
        const int status = output ? ::pclose(output.release()) : -1;
        outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : 1001;
        std::ifstream in(errors);
        outcome.err.assign(std::istreambuf_iterator<char>(in), {});
#endif
        return outcome;
    }
    Outcome List(uint32_t processId) {
        return Run(kSelector + L" " + std::to_wstring(processId) + L" \"" + Utf8ToWide(interopPath) + L"\"");
    }

    // The lists, or nothing while the total length does not declare the
    // file complete.
    std::optional<OpenedMediaFileLists> ReadInterop() {
        uint8_t field[kInteropTotalLengthSize] = {};
        uint32_t read = 0;
        if (interop->SetFilePointer(0) != 0 || interop->ReadFile(field, sizeof field, read) != 0 || read != 4)
            return std::nullopt;
        const uint32_t total = InteropTotalLength(field);
        if (total <= kInteropTotalLengthSize) return std::nullopt;
        EXPECT_EQ(fs::file_size(interopPath), total) << "the file must end where the lists end";
        std::vector<uint8_t> body(total - kInteropTotalLengthSize);
        OpenedMediaFileLists lists;
        std::string problem;
        if (interop->ReadFile(body.data(), static_cast<uint32_t>(body.size()), read) != 0 || read != body.size() ||
            !DecodeInteropBody(body, lists, problem))
            ADD_FAILURE() << "the interop file does not read back: " << problem;
        return lists;
    }

    static void ExpectSameFiles(const std::vector<std::wstring>& listed, const std::vector<fs::path>& expected) {
        ASSERT_EQ(listed.size(), expected.size());
        std::error_code error;
        for (size_t i = 0; i < listed.size(); ++i)
            EXPECT_TRUE(fs::equivalent(listed[i], expected[i], error)) << WideToUtf8(listed[i]) << " #" << i;
    }

    CRefPtr<IPlatform> platform = CreateNativePlatform();
    std::wstring folder;
    std::string interopPath;
    CRefPtr<IFile> interop;
    fs::path media;
};

TEST_F(PeltakTest, ListsTheMediaFilesAProcessHoldsOnceEachInTheirListsAndLeavesTheRestOut) {
    const fs::path clip = MakeFile("clip.mp4"), song = MakeFile("song.mp3"), tone = MakeFile("tone.wav");
    // What the file held before is cut off: the lists are shorter.
    const std::vector<uint8_t> stale(64 << 10, 0xFF);
    uint32_t written = 0;
    ASSERT_EQ(interop->WriteFile(stale.data(), static_cast<uint32_t>(stale.size()), written), 0u);

    const fs::path gone = MakeFile("gone.mp3");
    FileHolder holder(folder, {clip, song, MakeFile("notes.txt"), tone, clip, gone});
    ASSERT_TRUE(holder.Ready());
#ifndef _WIN32
    // Deleted while open: no file of that name is left to report.
    fs::remove(gone);
#endif

    EXPECT_EQ(List(holder.ProcessId()).code, 0u);
    const std::optional<OpenedMediaFileLists> lists = ReadInterop();
    ASSERT_TRUE(lists) << "the interop file is not complete";
    ExpectSameFiles(lists->video, {clip});
#ifdef _WIN32
    ExpectSameFiles(lists->audio, {song, tone, gone});
#else
    ExpectSameFiles(lists->audio, {song, tone});
#endif
}

TEST_F(PeltakTest, AProcessThatIsNotThereFailsAndTheFileIsNotDeclaredComplete) {
    const Outcome outcome = List(kNoProcess);
    EXPECT_EQ(outcome.code, 1u);
    EXPECT_FALSE(ReadInterop());
#ifndef _WIN32
    EXPECT_NE(outcome.err.find("there is no process 4294967280"), std::string::npos) << outcome.err;
#endif
}

TEST_F(PeltakTest, AWrongCommandLineGetsTheUsageAndHelpIsNoFailure) {
    const std::pair<std::wstring, const char*> wrong[] = {
        {kSelector, "process id is missing"},
        {kSelector + L" 12x \"f\"", "'12x' is not a process id"},
        {kSelector + L" -5 \"f\"", "is not a process id"},
        {kSelector + L" 0 \"f\"", "is not a process id"},
        {kSelector + L" 4294967296 \"f\"", "is not a process id"},
        {kSelector + L" 1234", "path is missing"},
        {kSelector + L" 1234 \"\"", "path is empty"},
        {kSelector + L" 1234 \"f\" more", "unexpected argument 'more'"},
        {L"--help more", "--help takes no other arguments"},
    };
    for (const auto& [arguments, problem] : wrong) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.code, 2u) << WideToUtf8(arguments);
#ifndef _WIN32
        EXPECT_NE(outcome.err.find(problem), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("Usage: PELTAK64"), std::string::npos) << outcome.err;
#endif
    }
    const Outcome help = Run(L"--help");
    EXPECT_EQ(help.code, 0u);
#ifndef _WIN32
    EXPECT_NE(help.out.find("Usage: PELTAK64"), std::string::npos) << help.out;
#endif
}

TEST_F(PeltakTest, WithoutTheSelectorItSaysItIsTheNativeHostAndFailsWithoutWritingToTheBrowser) {
    for (const std::wstring& arguments : {std::wstring(), std::wstring(L"chrome-extension://abc/")}) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.code, 3u);
#ifndef _WIN32
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err.find("native-messaging host; this mode is not built yet"), std::string::npos)
            << outcome.err;
#endif
    }
}

}  // namespace
}  // namespace qv
