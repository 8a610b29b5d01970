// ContentClassifier between real processes: a starter that dies ends it
// through the abandoned token, and the browser's native host reaches it. The
// rules of the start (one instance, the token, the registration) are the
// entry's, tested on the simulated platform; the platform is the machine's own.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/native.h"
#include "platform/platform.h"
#include "shell/named_mutex.h"
#include "support/run_with_std_files.h"
#include "support/wait_until.h"
#include "web/native_host_pipe_name.h"

#ifdef _WIN32
#include "platform/win32/windows_api.h"
#else
#include <csignal>
#include <unistd.h>
#endif

namespace qv {
namespace {

#ifdef _WIN32
constexpr const wchar_t* kSuffix = L".exe";
constexpr const wchar_t* kNativeHostName = L"PELTAK64.exe";

void EndByForce(IProcessHandle& process) {
    HANDLE handle = ::OpenProcess(PROCESS_TERMINATE, FALSE, process.ProcessId());
    ASSERT_NE(handle, nullptr) << "OpenProcess failed with " << ::GetLastError();
    ::TerminateProcess(handle, 9);
    ::CloseHandle(handle);
}
#else
constexpr const wchar_t* kSuffix = L"";
constexpr const wchar_t* kNativeHostName = L"PELTAK64";

void EndByForce(IProcessHandle& process) { ASSERT_EQ(::kill(static_cast<pid_t>(process.ProcessId()), SIGKILL), 0); }

// The machine-wide names (mutexes) and the browsers' folders of this test
// alone: the environment of the test goes to the programs it starts.
class PrivateUserFolders {
public:
    PrivateUserFolders() {
        char pattern[] = "/tmp/qv-shell-processes-XXXXXX";
        m_folder = ::mkdtemp(pattern) ? pattern : "";
        for (const char* name : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "HOME"}) {
            const std::string path = m_folder + "/" + name;
            std::filesystem::create_directories(path);
            std::filesystem::permissions(path, std::filesystem::perms::owner_all);
            ::setenv(name, path.c_str(), 1);
        }
        // A user who has run Chromium: its folder is where the host goes.
        std::filesystem::create_directories(m_folder + "/XDG_CONFIG_HOME/chromium");
    }
    ~PrivateUserFolders() {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

private:
    std::string m_folder;
};
#endif

class ShellProcessesTest : public testing::Test {
protected:
    void SetUp() override {
        platform = CreateNativePlatform();
        SetPlatform(platform);
        ASSERT_EQ(platform->System()->GetModuleFileName(folder), 0u);
        folder.resize(folder.find_last_of(L"\\/") + 1);
        ASSERT_FALSE(InstanceRuns()) << "another ContentClassifier runs on this machine";
    }
    void TearDown() override {
        // Nothing this test started outlives it.
        for (const CRefPtr<IProcessHandle>& process : started)
            if (!ExitCode(*process, std::chrono::milliseconds(0))) EndByForce(*process);
        SetPlatform(nullptr);
    }

    CRefPtr<IProcessHandle> Start(const std::wstring& program, const std::vector<std::wstring>& arguments) {
        const std::wstring path = folder + program + kSuffix;
        std::wstring commandLine = L"\"" + path + L"\"";
        for (const std::wstring& argument : arguments) commandLine += L" \"" + argument + L"\"";
        CRefPtr<IProcessHandle> process;
        EXPECT_EQ(platform->Processes()->CreateProcess(path, commandLine, 0, process), 0u) << WideToUtf8(path);
        if (process) started.push_back(process);
        return process;
    }
    CRefPtr<IProcessHandle> StartClassifier(const std::wstring& token = {}) {
        return Start(L"ContentClassifier", token.empty() ? std::vector<std::wstring>{}
                                                         : std::vector<std::wstring>{L"/exit-mutex-guid=" + token});
    }

    // The exit code once the process has ended within the time.
    std::optional<uint32_t> ExitCode(IProcessHandle& process, std::chrono::milliseconds within = test::kWaitBound) {
        IWaitable* object = &process;
        if (platform->Sync()->WaitForMultipleObjects({object}, static_cast<uint32_t>(within.count())) != kWaitObject0)
            return std::nullopt;
        uint32_t code = 0;
        if (process.GetExitCodeProcess(code) != 0) return std::nullopt;
        return code;
    }

    // Whether some instance's marker exists. The probe's own handle goes at
    // once, so that it does not keep the name alive.
    bool InstanceRuns() {
        CRefPtr<INamedMutex> probe;
        return platform->Sync()->OpenMutex(kInstanceMutexName, probe) == 0;
    }

    // A token held by this test, as a starter holds it.
    std::wstring HoldToken(CRefPtr<INamedMutex>& token) {
        GUID guid{};
        platform->System()->CoCreateGuid(guid);
        const std::wstring name = GuidToString(guid);
        EXPECT_EQ(platform->Sync()->CreateMutex(name, true, token), 0u);
        return name;
    }

#ifndef _WIN32
    PrivateUserFolders folders;  // before the platform, whose sync port reads them
#endif
    CRefPtr<IPlatform> platform;
    std::wstring folder;
    std::vector<CRefPtr<IProcessHandle>> started;
};

TEST_F(ShellProcessesTest, KillingTheStarterEndsTheClassifierThroughTheAbandonedToken) {
    // The reference host as the starter: it holds the token and starts the
    // classifier for an output that need not exist.
    CRefPtr<IProcessHandle> host =
        Start(L"quorvane-host", {L"--endpoint", L"no-such-output", L"--pipe", L"\\\\.\\pipe\\qv-shell-processes-host",
                                 L"--classifier", folder + L"ContentClassifier" + kSuffix});
    ASSERT_TRUE(host);
    test::WaitUntil([&] { return InstanceRuns() || ExitCode(*host, std::chrono::milliseconds(0)); });
    ASSERT_TRUE(InstanceRuns()) << "the host ended with " << ExitCode(*host, std::chrono::milliseconds(0)).value_or(0);
    EndByForce(*host);
    ASSERT_TRUE(ExitCode(*host));
    EXPECT_TRUE(test::WaitUntil([&] { return !InstanceRuns(); })) << "the classifier outlived its starter";
}

// The browser's native host, started as a browser starts it, reaches the
// running classifier's pipe and hands the add-on the classifier's own reply.
TEST_F(ShellProcessesTest, TheNativeHostReachesTheRunningClassifierAndReturnsItsReply) {
    CRefPtr<INamedMutex> token;
    const std::wstring name = HoldToken(token);
    CRefPtr<IProcessHandle> classifier = StartClassifier(name);
    ASSERT_TRUE(classifier);
    ASSERT_TRUE(test::WaitUntil(
        [&] { return platform->Pipes()->WaitNamedPipe(NativeHostPipeName(0), 0) == 0 || ExitCode(*classifier, {}); }));
    ASSERT_FALSE(ExitCode(*classifier, std::chrono::milliseconds(0))) << "the classifier ended before it served";

    const std::string message =
        R"({"instanceId":"i","changes":[{"type":"web-page","id":"0000000000000001-0000000000000002","url":"x"}]})";
    const auto size = static_cast<uint32_t>(message.size());
    const std::filesystem::path in = std::filesystem::temp_directory_path() / ("qv-host-in-" + WideToUtf8(name));
    const std::filesystem::path out = in.string() + ".out";
    std::ofstream(in, std::ios::binary) << std::string{char(size), char(size >> 8), char(size >> 16), char(size >> 24)}
                                        << message;
    EXPECT_EQ(test::RunWithStdFiles(folder + kNativeHostName, "chrome-extension://test/", in, out), 0u);
    std::ifstream read(out, std::ios::binary);
    const std::string reply(std::istreambuf_iterator<char>(read), {});
    EXPECT_TRUE(std::regex_match(reply.size() > 4 ? reply.substr(4) : reply,
                                 std::regex(R"(\{"hostId":"\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\}",)"
                                            R"("isDefaultEndpoint":true\})")))
        << reply;
    read.close();
    std::error_code ignored;
    std::filesystem::remove(in, ignored);
    std::filesystem::remove(out, ignored);

    ASSERT_EQ(token->ReleaseMutex(), 0u);
    EXPECT_EQ(ExitCode(*classifier), 0u);
}

}  // namespace
}  // namespace qv
