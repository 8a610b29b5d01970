// PELTAK64 between real processes: a child holds media files and others
// open, and the helper, started with the command line that the classifier
// uses, sorts them into a real interop file. A process that is not there
// leaves the file incomplete, and a wrong command line gets the usage.
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
#include <signal.h>
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

// A forked child: it opens the files, says so on a pipe and holds them
// until it is killed. The pipe is an open descriptor too, of no file.
class FileHolder {
public:
    FileHolder(const std::wstring&, const std::vector<fs::path>& files) {
        int ready[2];
        if (::pipe2(ready, O_CLOEXEC) != 0) return;
        m_ready.reset(ready[0]);
        const CUniqueFd childReady(ready[1]);
        if ((m_pid = ::fork()) != 0) return;
        for (const fs::path& file : files)
            if (::open(file.c_str(), O_RDONLY) < 0) ::_exit(101);
        if (::write(childReady.get(), "r", 1) == 1) ::pause();
        ::_exit(102);
    }
    ~FileHolder() {
        if (m_pid > 0 && ::kill(m_pid, SIGKILL) == 0) ::waitpid(m_pid, nullptr, 0);
    }
    bool Ready() {
        pollfd ready{m_ready.get(), POLLIN, 0};
        char signal = 0;
        return m_pid > 0 && ::poll(&ready, 1, 30000) == 1 && ::read(m_ready.get(), &signal, 1) == 1;
    }
    uint32_t ProcessId() const { return static_cast<uint32_t>(m_pid); }

private:
    CUniqueFd m_ready;
    pid_t m_pid = -1;
};
#endif

class PeltakTest : public testing::Test {
protected:
    void SetUp() override {
        SetPlatform(platform);
        ASSERT_EQ(platform->System()->GetModuleFileName(program), 0u);
        program.resize(program.find_last_of(L"\\/") + 1);
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
    // builds it: the exit code.
    uint32_t Run(const std::wstring& arguments) {
        const std::wstring path = program + kPeltak;
        CRefPtr<IProcessHandle> process;
        uint32_t code = 1000;
        if (platform->Processes()->CreateProcess(path, L"\"" + path + L"\" " + arguments, 0, process) == 0 &&
            platform->Sync()->WaitForMultipleObjects({process.get()}, 30000) == kWaitObject0)
            process->GetExitCodeProcess(code);
        return code;
    }
    uint32_t List(uint32_t processId) {
        return Run(kSelector + L" " + std::to_wstring(processId) + L" \"" + Utf8ToWide(interopPath) + L"\"");
    }
#ifndef _WIN32
    // Through the shell, for what it prints: the lines of standard output
    // as they are, those of standard error after a "|".
    std::string Said(const std::wstring& arguments) {
        const std::string command =
            "{ '" + WideToUtf8(program + kPeltak) + "' " + WideToUtf8(arguments) + " 2>&1 >&3 | sed 's/^/|/'; } 3>&1";
        std::unique_ptr<FILE, int (*)(FILE*)> output(::popen(command.c_str(), "r"), ::pclose);
        std::string text;
        char buffer[4096];
        while (output && std::fgets(buffer, sizeof buffer, output.get())) text += buffer;
        return text;
    }
#endif

    // Nothing while the total length does not declare the file complete.
    std::optional<OpenedMediaFileLists> ReadInterop() {
        uint8_t field[kInteropTotalLengthSize] = {};
        uint32_t read = 0;
        if (interop->SetFilePointer(0) != 0 || interop->ReadFile(field, sizeof field, read) != 0 || read != 4 ||
            InteropTotalLength(field) <= kInteropTotalLengthSize)
            return std::nullopt;
        EXPECT_EQ(fs::file_size(interopPath), InteropTotalLength(field)) << "the file must end where the lists end";
        std::vector<uint8_t> body(InteropTotalLength(field) - kInteropTotalLengthSize);
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
    std::wstring program;  // the folder, then the name
    std::string interopPath;
    CRefPtr<IFile> interop;
    fs::path media;
};

TEST_F(PeltakTest, ListsTheMediaFilesAProcessHoldsOnceEachInTheirListsAndLeavesTheRestOut) {
    const fs::path clip = MakeFile("clip.mp4"), song = MakeFile("song.mp3"), tone = MakeFile("tone.wav");
    const std::vector<uint8_t> stale(64 << 10, 0xFF);  // to be cut off
    uint32_t written = 0;
    ASSERT_EQ(interop->WriteFile(stale.data(), static_cast<uint32_t>(stale.size()), written), 0u);

    const fs::path gone = MakeFile("gone.mp3");
    FileHolder holder(program, {clip, song, MakeFile("notes.txt"), tone, clip, gone});
    ASSERT_TRUE(holder.Ready());
#ifndef _WIN32
    // Deleted while open: no file of that name is left to report.
    fs::remove(gone);
    const std::vector<fs::path> audio{song, tone};
#else
    const std::vector<fs::path> audio{song, tone, gone};
#endif

    EXPECT_EQ(List(holder.ProcessId()), 0u);
    const std::optional<OpenedMediaFileLists> lists = ReadInterop();
    ASSERT_TRUE(lists) << "the interop file is not complete";
    ExpectSameFiles(lists->video, {clip});
    ExpectSameFiles(lists->audio, audio);
}

// "|" starts a line of standard error.
TEST_F(PeltakTest, EachCommandLineGetsItsExitCodeAndMessage) {
    const std::wstring list = kSelector + L" 1234";
    const struct {
        std::wstring arguments;
        uint32_t code;
        const char* said;
    } cases[] = {
        // A process that is not there: the file is not declared complete.
        {kSelector + L" " + std::to_wstring(kNoProcess) + L" \"" + Utf8ToWide(interopPath) + L"\"", 1,
         "|PELTAK64: there is no process 4294967280"},
        {kSelector, 2, "|PELTAK64: the process id is missing\n|Usage: PELTAK64"},
        {kSelector + L" 12x \"f\"", 2, "|PELTAK64: '12x' is not a process id"},
        {kSelector + L" 4294967296 \"f\"", 2, "is not a process id"},
        {list, 2, "path is missing"},
        {list + L" \"f\" more", 2, "unexpected argument 'more'"},
        {L"--help", 0, "Usage: PELTAK64 {B5A1C3D7-9E42-4F06-8C1B-2D7E6F30A914} PID \"INTEROP-FILE\""},
    };
    for (const auto& [arguments, code, said] : cases) {
        EXPECT_EQ(Run(arguments), code) << WideToUtf8(arguments);
#ifndef _WIN32
        const std::string text = Said(arguments);
        EXPECT_NE(text.find(said), std::string::npos) << text;
#endif
    }
    EXPECT_FALSE(ReadInterop());
}

}  // namespace
}  // namespace qv
