// PELTAK64 as the browser's native-messaging host, a real process: this test
// is its browser (its parent, with frames in a file as standard input) and
// its classifier (a server on one slot of the pipe).
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/native.h"
#include "platform/platform.h"
#include "support/native_host_test_server.h"
#include "support/wait_until.h"

#ifdef _WIN32
#include "platform/win32/win32_unique_handle.h"
#else
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace qv {
namespace {

namespace fs = std::filesystem;

std::string Frame(const std::string& message) {
    const auto n = static_cast<uint32_t>(message.size());
    return std::string{char(n), char(n >> 8), char(n >> 16), char(n >> 24)} + message;
}

std::vector<std::string> Messages(const std::string& frames) {
    std::vector<std::string> messages;
    for (std::size_t at = 0; at + 4 <= frames.size();) {
        const uint32_t n = uint8_t(frames[at]) | uint8_t(frames[at + 1]) << 8 | uint8_t(frames[at + 2]) << 16 |
                           uint32_t(uint8_t(frames[at + 3])) << 24;
        messages.push_back(frames.substr(at + 4, n));
        at += 4 + n;
    }
    return messages;
}

class NativeHostTest : public testing::Test {
protected:
    void SetUp() override {
        SetPlatform(platform);
        ASSERT_EQ(platform->System()->GetModuleFileName(self), 0u);
        folder = fs::temp_directory_path() / ("qv-native-host-" + std::to_string(ProcessId()));
        fs::create_directories(folder);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
        SetPlatform(nullptr);
    }

    // Runs the host over the input, as a browser starts it: with an argument
    // of its own. The exit code; the host's standard output in output.
    uint32_t RunHost(const std::string& input, std::string& output) {
        const fs::path in = folder / "in.bin", out = folder / "out.bin";
        std::ofstream(in, std::ios::binary) << input;
        const fs::path peltak = fs::path(self).parent_path() / PeltakName();
        const uint32_t code = Start(peltak, in, out);
        std::ifstream read(out, std::ios::binary);
        output.assign(std::istreambuf_iterator<char>(read), {});
        return code;
    }

#ifdef _WIN32
    static const wchar_t* PeltakName() { return L"PELTAK64.exe"; }
    static uint32_t ProcessId() { return ::GetCurrentProcessId(); }
    static uint32_t Start(const fs::path& peltak, const fs::path& in, const fs::path& out) {
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        const CUniqueHandle input(
            ::CreateFileW(in.c_str(), GENERIC_READ, FILE_SHARE_READ, &inherit, OPEN_EXISTING, 0, nullptr));
        const CUniqueHandle output(
            ::CreateFileW(out.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr));
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = input.get();
        startup.hStdOutput = output.get();
        startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
        std::wstring commandLine = L"\"" + peltak.wstring() + L"\" chrome-extension://test/";
        PROCESS_INFORMATION info{};
        if (!input || !output ||
            !::CreateProcessW(peltak.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                              &info))
            return 1000;
        const CUniqueHandle process(info.hProcess), thread(info.hThread);
        DWORD code = 1001;
        if (::WaitForSingleObject(process.get(), 60000) != WAIT_OBJECT_0) ::TerminateProcess(process.get(), 1002);
        ::GetExitCodeProcess(process.get(), &code);
        return code;
    }
#else
    static const char* PeltakName() { return "PELTAK64"; }
    static uint32_t ProcessId() { return static_cast<uint32_t>(::getpid()); }
    static uint32_t Start(const fs::path& peltak, const fs::path& in, const fs::path& out) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            const int input = ::open(in.c_str(), O_RDONLY),
                      output = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (input < 0 || output < 0 || ::dup2(input, 0) < 0 || ::dup2(output, 1) < 0) ::_exit(126);
            ::execl(peltak.c_str(), peltak.c_str(), "chrome-extension://test/", nullptr);
            ::_exit(127);
        }
        int status = 0;
        if (pid < 0 || !test::WaitUntil([&] { return ::waitpid(pid, &status, WNOHANG) == pid; })) {
            if (pid > 0 && ::kill(pid, SIGKILL) == 0) ::waitpid(pid, nullptr, 0);
            return 1001;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1002;
    }
#endif

    CRefPtr<IPlatform> platform = CreateNativePlatform();
    std::wstring self;
    fs::path folder;
};

// Slots 0 and 1 are free: the host must go on to 2. The classifier says
// nothing to "quiet" and more than a browser takes to "big".
TEST_F(NativeHostTest, TheHostFindsTheClassifierOnItsSlotAndPassesItTheBrowserEachMessageAndItsReply) {
    test::NativeHostTestServer classifier(platform->Pipes(), 2, [](const std::string& body) {
        if (body == R"({"quiet":1})") return std::string();
        if (body == R"({"big":1})") return std::string((1 << 20) + 1, ' ');
        return R"({"hostId":"{A}","size":)" + std::to_string(body.size()) + "}";
    });
    ASSERT_EQ(classifier.CreateError(), 0u);
    // Over one piece of the body: it must come whole all the same.
    const std::string large = "\"" + std::string(300000, 'x') + "\"";
    const std::string bodies[] = {R"({"changes":[]})", large, R"({"quiet":1})", R"({"big":1})"};
    std::string input, output;
    for (const std::string& body : bodies) input += Frame(body);
    EXPECT_EQ(RunHost(input, output), 0u);

    // A request with its numbers not each a write of their own is not kept.
    ASSERT_TRUE(classifier.WaitForExchanges(4));
    const auto exchanges = classifier.Exchanges();
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(exchanges[i].processId, ProcessId()) << i;
        std::error_code error;
        EXPECT_TRUE(fs::equivalent(exchanges[i].path, self, error)) << WideToUtf8(exchanges[i].path);
        EXPECT_EQ(exchanges[i].body, bodies[i]) << i;
        // The reply too large for the browser is not read, so not acknowledged.
        EXPECT_EQ(exchanges[i].acknowledged, i != 3) << i;
    }
    // An empty reply still answers its message.
    EXPECT_EQ(Messages(output),
              (std::vector<std::string>{R"({"hostId":"{A}","size":14})", R"({"hostId":"{A}","size":300002})", "{}",
                                        R"({"error":"classifier reply too large"})"}));
}

TEST_F(NativeHostTest, WithoutAClassifierEachMessageGetsAnErrorAndABrokenInputEndsTheHost) {
    const std::string none = R"({"error":"classifier not running"})";
    const struct {
        std::string input;
        uint32_t code;
        std::vector<std::string> replies;
    } cases[] = {
        {"", 0, {}},
        {Frame("{}") + Frame("[]"), 0, {none, none}},
        {Frame("{}") + std::string("\x0A\0\0\0{\"a", 7), 3, {none}},
        {std::string("\x01\0\0\x04{}", 6), 3, {}},  // 64 MB and one byte announced
    };
    for (const auto& [input, code, replies] : cases) {
        std::string output;
        EXPECT_EQ(RunHost(input, output), code) << testing::PrintToString(input);
        EXPECT_EQ(Messages(output), replies) << testing::PrintToString(input);
    }
}

}  // namespace
}  // namespace qv
