// ContentClassifier between real processes: one instance at a time, a
// starter's exit token that ends it when released or when the starter dies,
// and a token that cannot be opened. The platform is the machine's own.
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
// GetExitCodeProcess of a process that returned -1.
constexpr uint32_t kMinusOne = 0xFFFFFFFFu;
constexpr const wchar_t* kNativeHostName = L"PELTAK64.exe";
constexpr const wchar_t* kSeparator = L"\\";

void EndByForce(IProcessHandle& process) {
    HANDLE handle = ::OpenProcess(PROCESS_TERMINATE, FALSE, process.ProcessId());
    ASSERT_NE(handle, nullptr) << "OpenProcess failed with " << ::GetLastError();
    ::TerminateProcess(handle, 9);
    ::CloseHandle(handle);
}
#else
constexpr const wchar_t* kSuffix = L"";
// The low byte of -1, as the parent sees an exit status.
constexpr uint32_t kMinusOne = 255;
constexpr const wchar_t* kNativeHostName = L"PELTAK64";
constexpr const wchar_t* kSeparator = L"/";

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

    // Where the browsers find the host's manifest: the registry names a file
    // on Windows; on Linux the file in Chromium's own folder is the pointer.
    std::wstring ManifestPath() {
        CRefPtr<IFiles> files = platform->Files();
        std::wstring path;
        if (files->GetUserConfigFolder(path) == 0) return path + L"/chromium/NativeMessagingHosts/" + kHostFile;
        EXPECT_EQ(files->GetLocalAppDataFolder(path), 0);
        return path + L"\\Quorvane\\NativeMessaging\\" + kHostFile;
    }
    static constexpr const wchar_t* kHostFile = L"com.quorvane.contentclassifier.json";

    // Runs a classifier to its end: its token is there but nobody holds it,
    // so it stops as soon as its loop turns, after the whole start.
    void StartAndStop(const std::wstring& program) {
        CRefPtr<INamedMutex> unheld;
        GUID guid{};
        platform->System()->CoCreateGuid(guid);
        ASSERT_EQ(platform->Sync()->CreateMutex(GuidToString(guid), false, unheld), 0u);
        CRefPtr<IProcessHandle> process = Start(program, {L"/exit-mutex-guid=" + GuidToString(guid)});
        ASSERT_TRUE(process);
        EXPECT_EQ(ExitCode(*process), 0u);
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

TEST_F(ShellProcessesTest, ASecondInstanceIsRefusedWhileTheFirstRunsAndTheReleasedTokenEndsTheFirstWithZero) {
    CRefPtr<INamedMutex> token;
    const std::wstring name = HoldToken(token);
    CRefPtr<IProcessHandle> first = StartClassifier(name);
    ASSERT_TRUE(first);
    ASSERT_TRUE(test::WaitUntil([&] { return InstanceRuns(); }));

    CRefPtr<IProcessHandle> second = StartClassifier();
    ASSERT_TRUE(second);
    EXPECT_EQ(ExitCode(*second), kMinusOne);
    EXPECT_FALSE(ExitCode(*first, std::chrono::milliseconds(0))) << "the first one runs on";

    ASSERT_EQ(token->ReleaseMutex(), 0u);
    EXPECT_EQ(ExitCode(*first), 0u);
    EXPECT_TRUE(test::WaitUntil([&] { return !InstanceRuns(); })) << "the marker goes with its process";
}

TEST_F(ShellProcessesTest, AnInstanceThatWasKilledLeavesNoMarkAndTheNextOneRuns) {
    CRefPtr<INamedMutex> token;
    CRefPtr<IProcessHandle> killed = StartClassifier(HoldToken(token));
    ASSERT_TRUE(killed);
    ASSERT_TRUE(test::WaitUntil([&] { return InstanceRuns(); }));
    EndByForce(*killed);
    ASSERT_TRUE(ExitCode(*killed));
    ASSERT_TRUE(test::WaitUntil([&] { return !InstanceRuns(); }));

    CRefPtr<INamedMutex> nextToken;
    CRefPtr<IProcessHandle> next = StartClassifier(HoldToken(nextToken));
    ASSERT_TRUE(next);
    ASSERT_TRUE(test::WaitUntil([&] { return InstanceRuns(); }));
    EXPECT_FALSE(ExitCode(*next, std::chrono::milliseconds(0)));
    nextToken->ReleaseMutex();
    EXPECT_EQ(ExitCode(*next), 0u);
}

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

TEST_F(ShellProcessesTest, ATokenThatCannotBeOpenedEndsTheStartWithMinusOne) {
    CRefPtr<IProcessHandle> process = StartClassifier(L"{00000000-0000-0000-0000-00000000DEAD}");
    ASSERT_TRUE(process);
    EXPECT_EQ(ExitCode(*process), kMinusOne);
    EXPECT_FALSE(InstanceRuns());
}

TEST_F(ShellProcessesTest, TheFirstStartRegistersTheHostTheNextWritesNothingAndAMovedProgramWritesItsNewPath) {
    namespace fs = std::filesystem;
    const fs::path manifest(ManifestPath());
    std::error_code ignored;
    fs::remove(manifest, ignored);
    // The host's path as JSON text: every backslash doubled.
    auto hostPathAsJson = [](std::wstring folderOfProgram) {
        std::string text;
        for (char c : WideToUtf8(folderOfProgram + kNativeHostName))
            text += c == '\\' ? std::string("\\\\") : std::string(1, c);
        return "\"path\": \"" + text + "\"";
    };
    auto content = [&] {
        std::vector<uint8_t> bytes;
        platform->Files()->ReadWholeFile(manifest.wstring(), bytes);
        return std::string(bytes.begin(), bytes.end());
    };

    StartAndStop(L"ContentClassifier");
    ASSERT_TRUE(fs::exists(manifest)) << WideToUtf8(manifest.wstring());
    EXPECT_NE(content().find(hostPathAsJson(folder)), std::string::npos) << content();
#ifdef _WIN32
    // Each browser's key names the file.
    for (const wchar_t* root : {L"SOFTWARE\\Google\\Chrome", L"SOFTWARE\\Microsoft\\Edge"}) {
        CRefPtr<IRegistryKey> key;
        ASSERT_EQ(platform->Registry()->RegOpenKeyEx(
                      RegistryRoot::CurrentUser,
                      std::wstring(root) + L"\\NativeMessagingHosts\\com.quorvane.contentclassifier", 0, kKeyRead, key),
                  0u);
        uint32_t type = 0;
        std::vector<uint8_t> value;
        ASSERT_EQ(key->RegQueryValueEx(L"", type, value), 0u);
        EXPECT_EQ(Utf16LeToWide(value.data(), value.size()), manifest.wstring() + L'\0');
    }
#endif

    // Made old, the file shows whether the next start writes it.
    const auto old = fs::last_write_time(manifest) - std::chrono::hours(24);
    fs::last_write_time(manifest, old);
    StartAndStop(L"ContentClassifier");
    EXPECT_EQ(fs::last_write_time(manifest), old) << "an unchanged installation wrote the manifest again";

    const fs::path moved = fs::path(folder) / "moved";
    fs::create_directories(moved);
    const std::wstring program = std::wstring(L"ContentClassifier") + kSuffix;
    fs::copy_file(fs::path(folder) / program, moved / program, fs::copy_options::overwrite_existing);
    StartAndStop(std::wstring(L"moved") + kSeparator + L"ContentClassifier");
    EXPECT_NE(content().find(hostPathAsJson((moved / "").wstring())), std::string::npos) << content();
    fs::remove_all(moved, ignored);
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
