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
#include "support/run_with_std_files.h"

#ifdef _WIN32
#include "platform/win32/windows_api.h"
#else
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
    using Runner = uint32_t (*)(const fs::path&, const std::string&, const fs::path&, const fs::path&);
    uint32_t RunHost(const std::string& input, std::string& output, Runner run = test::RunWithStdFiles) {
        const fs::path in = folder / "in.bin", out = folder / "out.bin";
        std::ofstream(in, std::ios::binary) << input;
        const fs::path peltak = fs::path(self).parent_path() / PeltakName();
        const uint32_t code = run(peltak, "chrome-extension://test/", in, out);
        std::ifstream read(out, std::ios::binary);
        output.assign(std::istreambuf_iterator<char>(read), {});
        return code;
    }

#ifdef _WIN32
    static const wchar_t* PeltakName() { return L"PELTAK64.exe"; }
    static uint32_t ProcessId() { return ::GetCurrentProcessId(); }
#else
    static const char* PeltakName() { return "PELTAK64"; }
    static uint32_t ProcessId() { return static_cast<uint32_t>(::getpid()); }
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

#ifdef _WIN32
// Chromium-based browsers start their host through the command interpreter:
// the browser that the classifier must hear of is the interpreter's parent.
TEST_F(NativeHostTest, StartedThroughTheCommandInterpreterTheHostNamesTheInterpretersParent) {
    test::NativeHostTestServer classifier(platform->Pipes(), 0, [](const std::string&) { return std::string("{}"); });
    ASSERT_EQ(classifier.CreateError(), 0u);
    std::string output;
    EXPECT_EQ(RunHost(Frame("{}"), output, test::RunThroughCommandInterpreter), 0u);
    ASSERT_TRUE(classifier.WaitForExchanges(1));
    EXPECT_EQ(classifier.Exchanges()[0].processId, ProcessId());
    std::error_code error;
    EXPECT_TRUE(fs::equivalent(classifier.Exchanges()[0].path, self, error))
        << WideToUtf8(classifier.Exchanges()[0].path);
    EXPECT_EQ(Messages(output), std::vector<std::string>{"{}"});
}
#endif

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
