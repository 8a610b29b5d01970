// Registering the native host on Linux, in real folders: a manifest in the
// NativeMessagingHosts folder of each browser that the user has, under a
// private XDG_CONFIG_HOME.
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "platform/native.h"
#include "platform/platform.h"
#include "shell/manifest_template.h"
#include "shell/native_host_path.h"
#include "shell/native_host_registration.h"

namespace qv {
namespace {

namespace fs = std::filesystem;

const std::wstring kChromeRoot = L"SOFTWARE\\Google\\Chrome\\NativeMessagingHosts";
const std::wstring kEdgeRoot = L"SOFTWARE\\Microsoft\\Edge\\NativeMessagingHosts";
const std::wstring kHost = L"com.quorvane.contentclassifier";
const char* kManifestName = "com.quorvane.contentclassifier.json";

std::optional<std::string> ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

// A configuration folder of the test's own, named by XDG_CONFIG_HOME while
// the test runs.
class NativeHostFoldersTest : public testing::Test {
protected:
    void SetUp() override {
        std::string folder = (fs::temp_directory_path() / "qv-config-XXXXXX").string();
        ASSERT_NE(::mkdtemp(folder.data()), nullptr);
        m_config = folder;
        if (const char* old = std::getenv("XDG_CONFIG_HOME")) m_oldConfig = old;
        ::setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
        SetPlatform(CreateNativePlatform());
    }
    void TearDown() override {
        SetPlatform(nullptr);
        if (m_oldConfig) {
            ::setenv("XDG_CONFIG_HOME", m_oldConfig->c_str(), 1);
        } else {
            ::unsetenv("XDG_CONFIG_HOME");
        }
        std::error_code ignored;
        fs::remove_all(m_config, ignored);
    }

    fs::path Manifest(const char* browser) { return m_config / browser / "NativeMessagingHosts" / kManifestName; }
    std::string Expected() {
        const std::string host = (fs::read_symlink("/proc/self/exe").parent_path() / "PELTAK64").string();
        return FillManifestTemplate(*LoadManifestTemplate(), host);
    }

    fs::path m_config;
    std::optional<std::string> m_oldConfig;
};

TEST_F(NativeHostFoldersTest, EachBrowserThatTheUserHasGetsTheManifestAndOthersGetNoFolder) {
    fs::create_directory(m_config / "chromium");
    fs::create_directory(m_config / "microsoft-edge");
    RegisterNativeHost(kChromeRoot, kHost);
    EXPECT_EQ(ReadFile(Manifest("chromium")), Expected());
    EXPECT_FALSE(fs::exists(m_config / "google-chrome"));
    EXPECT_FALSE(fs::exists(m_config / "microsoft-edge" / "NativeMessagingHosts")) << "Edge's root is another";

    RegisterNativeHost(kEdgeRoot, kHost);
    EXPECT_EQ(ReadFile(Manifest("microsoft-edge")), Expected());
    RegisterNativeHost(L"SOFTWARE\\Other\\NativeMessagingHosts", kHost);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_config), fs::directory_iterator()), 2);
}

TEST_F(NativeHostFoldersTest, AManifestThatSaysTheSameIsNotRewrittenAndAChangedOneIs) {
    fs::create_directory(m_config / "google-chrome");
    RegisterNativeHost(kChromeRoot, kHost);
    const fs::path manifest = Manifest("google-chrome");
    // An old time stamp shows any write, however soon it comes.
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(24);
    fs::last_write_time(manifest, old);
    struct stat before {};
    ASSERT_EQ(::stat(manifest.c_str(), &before), 0);

    RegisterNativeHost(kChromeRoot, kHost);
    struct stat after {};
    ASSERT_EQ(::stat(manifest.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(fs::last_write_time(manifest), old);

    WriteFile(manifest, Expected() + "\n");
    RegisterNativeHost(kChromeRoot, kHost);
    EXPECT_EQ(ReadFile(manifest), Expected());
}

TEST_F(NativeHostFoldersTest, NothingIsWrittenThroughALink) {
    const fs::path elsewhere = m_config / "elsewhere";
    fs::create_directories(elsewhere);
    WriteFile(elsewhere / "target.json", "theirs");

    // The manifest a link to another file.
    fs::create_directories(m_config / "chromium" / "NativeMessagingHosts");
    fs::create_symlink(elsewhere / "target.json", Manifest("chromium"));
    // The hosts folder a link to another folder.
    fs::create_directories(m_config / "google-chrome");
    fs::create_directory_symlink(elsewhere, m_config / "google-chrome" / "NativeMessagingHosts");

    RegisterNativeHost(kChromeRoot, kHost);
    EXPECT_EQ(ReadFile(elsewhere / "target.json"), "theirs");
    EXPECT_TRUE(fs::is_symlink(Manifest("chromium")));
    EXPECT_FALSE(fs::exists(elsewhere / kManifestName));
}

}  // namespace
}  // namespace qv
