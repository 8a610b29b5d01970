// ContentClassifier between real processes: a starter that dies ends it
// through the abandoned token. The rules of the start (one instance, the
// token, the registration) are the entry's, tested on the simulated platform;
// the platform here is the machine's own.
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/native.h"
#include "platform/platform.h"
#include "shell/named_mutex.h"
#include "support/wait_until.h"
#include "support/wine_start_retry.h"

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

void EndByForce(IProcessHandle& process) {
    HANDLE handle = ::OpenProcess(PROCESS_TERMINATE, FALSE, process.ProcessId());
    ASSERT_NE(handle, nullptr) << "OpenProcess failed with " << ::GetLastError();
    ::TerminateProcess(handle, 9);
    ::CloseHandle(handle);
}
#else
constexpr const wchar_t* kSuffix = L"";

void EndByForce(IProcessHandle& process) { ASSERT_EQ(::kill(static_cast<pid_t>(process.ProcessId()), SIGKILL), 0); }

// The machine-wide names (mutexes) and the user's folders of this test
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
        EXPECT_EQ(test::StartRetryingWineInternalError(
                      [&] { return platform->Processes()->CreateProcess(path, commandLine, 0, process); }),
                  0u)
            << WideToUtf8(path);
        if (process) started.push_back(process);
        return process;
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

}  // namespace
}  // namespace qv
