// The Linux registry's files: what a write leaves on disk, hand edits seen at
// the next read, a malformed file that is read as empty and never written
// over, and the directory that the environment chooses.
#ifndef _WIN32

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/linux/linux_registry.h"

namespace qv {
namespace {

namespace fs = std::filesystem;
constexpr auto LM = RegistryRoot::LocalMachine;
constexpr auto CU = RegistryRoot::CurrentUser;

std::vector<uint8_t> Dword(uint32_t v) {
    return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 24)};
}

std::string ReadText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteText(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

class LinuxRegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "qv-registry-XXXXXX").string();
        ASSERT_TRUE(::mkdtemp(pattern.data()));
        root = pattern;
        directory = root / "config" / "quorvane" / "registry";
        registry = MakeRef<CLinuxRegistry>(directory.string());
    }
    void TearDown() override { fs::remove_all(root); }

    Win32Error Set(RegistryRoot r, const std::wstring& path, const std::wstring& name, uint32_t type,
                   const std::vector<uint8_t>& data) {
        CRefPtr<IRegistryKey> key;
        if (Win32Error error = registry->RegCreateKeyEx(r, path, 0, kKeyAllAccessNoSync, key)) return error;
        return key->RegSetValueEx(name, type, data);
    }
    Win32Error Get(RegistryRoot r, const std::wstring& path, const std::wstring& name, std::vector<uint8_t>& data,
                   uint32_t options = 0) {
        CRefPtr<IRegistryKey> key;
        if (Win32Error error = registry->RegOpenKeyEx(r, path, options, kKeyRead, key)) return error;
        uint32_t type = 0;
        return key->RegQueryValueEx(name, type, data);
    }

    fs::path root;
    fs::path directory;
    CRefPtr<CLinuxRegistry> registry;
};

TEST_F(LinuxRegistryTest, NothingIsWrittenBeforeTheFirstChangeWhichLandsInTheRootsFileAlone) {
    std::vector<uint8_t> data;
    EXPECT_EQ(Get(LM, L"Software", L"x", data), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(fs::exists(directory));
    CRefPtr<IRegistryKey> key;
    ASSERT_EQ(registry->RegCreateKeyEx(LM, L"", 0, kKeyAllAccessNoSync, key), 0u);
    EXPECT_FALSE(fs::exists(directory / "HKEY_LOCAL_MACHINE.json")) << "opening an existing key with create wrote";
    ASSERT_EQ(registry->RegCreateKeyEx(LM, L"Software\\New", 0, kKeyAllAccessNoSync, key), 0u);

    std::vector<uint8_t> path = WideToUtf16Le(L"/home/u/x.json");
    path.insert(path.end(), {0, 0});
    ASSERT_EQ(Set(CU, L"Software\\Google\\Chrome\\NativeMessagingHosts\\com.q", L"", kRegSz, path), 0u);
    ASSERT_EQ(Set(LM, L"Software\\Quorvane\\Logging\\APO", L"MIRADO", kRegDword, Dword(1)), 0u);

    EXPECT_EQ(nlohmann::json::parse(ReadText(directory / "HKEY_CURRENT_USER.json")),
              (nlohmann::json{{"Software\\Google\\Chrome\\NativeMessagingHosts\\com.q", {{"", "/home/u/x.json"}}}}));
    EXPECT_EQ(nlohmann::json::parse(ReadText(directory / "HKEY_LOCAL_MACHINE.json")),
              (nlohmann::json{{"Software\\New", nlohmann::json::object()},
                              {"Software\\Quorvane\\Logging\\APO", {{"MIRADO", 1}}}}));
    for (const auto& entry : fs::directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(name == "HKEY_CURRENT_USER.json" || name == "HKEY_LOCAL_MACHINE.json" || name == ".lock") << name;
    }

    // A fresh registry on the same directory, as the next run would be.
    registry = MakeRef<CLinuxRegistry>(directory.string());
    ASSERT_EQ(Get(CU, L"software\\google\\chrome\\nativemessaginghosts\\COM.Q", L"", data), 0u);
    EXPECT_EQ(data, path);
}

TEST_F(LinuxRegistryTest, HandEditsCountFromTheNextRead) {
    ASSERT_EQ(Set(LM, L"Software\\Quorvane\\Logging\\APO", L"MIRADO", kRegDword, Dword(0)), 0u);
    CRefPtr<IRegistryKey> key;
    ASSERT_EQ(registry->RegOpenKeyEx(LM, L"Software\\Quorvane\\Logging\\APO", 0, kKeyRead, key), 0u);

    WriteText(directory / "HKEY_LOCAL_MACHINE.json", R"({"software\\quorvane\\logging\\apo": {"mirado": 1}})");
    uint32_t type = 0;
    std::vector<uint8_t> data;
    ASSERT_EQ(key->RegQueryValueEx(L"MIRADO", type, data), 0u);
    EXPECT_EQ(data, Dword(1));

    // A key that the edit took away is gone for its open handle too.
    WriteText(directory / "HKEY_LOCAL_MACHINE.json", "{}");
    EXPECT_EQ(key->RegQueryValueEx(L"MIRADO", type, data), CRegistryStore::kErrorKeyDeleted);
}

TEST_F(LinuxRegistryTest, MalformedFileReadsAsEmptySaysSoOnceAndIsNeverWrittenOver) {
    fs::create_directories(directory);
    const std::string typo = "{\"Software\\\\Quorvane\": {\"MIRADO\": 1,}}";
    WriteText(directory / "HKEY_LOCAL_MACHINE.json", typo);
    testing::internal::CaptureStderr();
    // Every operation reads both roots: writing the other root is unaffected.
    EXPECT_EQ(Set(CU, L"Software\\Mine", L"v", kRegDword, Dword(2)), 0u);
    std::vector<uint8_t> data;
    EXPECT_EQ(Get(LM, L"Software\\Quorvane", L"MIRADO", data), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Get(LM, L"Software\\Quorvane", L"MIRADO", data), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Set(LM, L"Software\\Quorvane", L"MIRADO", kRegDword, Dword(5)), CLinuxRegistry::kErrorBadDb);
    EXPECT_EQ(Get(LM, L"Software\\Quorvane", L"MIRADO", data), ERROR_FILE_NOT_FOUND);
    const std::string warnings = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(warnings.begin(), warnings.end(), '\n'), 1) << warnings;
    EXPECT_NE(warnings.find("HKEY_LOCAL_MACHINE.json"), std::string::npos) << warnings;
    EXPECT_EQ(ReadText(directory / "HKEY_LOCAL_MACHINE.json"), typo);

    // The repaired file counts at once.
    EXPECT_EQ(Get(CU, L"Software\\Mine", L"v", data), 0u);
    WriteText(directory / "HKEY_LOCAL_MACHINE.json", "{\"Software\\\\Quorvane\": {\"MIRADO\": 1}}");
    EXPECT_EQ(Get(LM, L"Software\\Quorvane", L"MIRADO", data), 0u);
    EXPECT_EQ(data, Dword(1));
}

TEST_F(LinuxRegistryTest, TwoRegistriesOnOneDirectoryKeepEachOthersWrites) {
    // As two processes would: each write reads the file anew under the lock.
    auto other = MakeRef<CLinuxRegistry>(directory.string());
    ASSERT_EQ(Set(CU, L"Software\\Shared", L"first", kRegDword, Dword(1)), 0u);
    CRefPtr<IRegistryKey> key;
    ASSERT_EQ(other->RegCreateKeyEx(CU, L"Software\\Shared", 0, kKeyAllAccessNoSync, key), 0u);
    ASSERT_EQ(key->RegSetValueEx(L"second", kRegDword, Dword(2)), 0u);
    ASSERT_EQ(Set(CU, L"Software\\Shared", L"third", kRegDword, Dword(3)), 0u);
    EXPECT_EQ(nlohmann::json::parse(ReadText(directory / "HKEY_CURRENT_USER.json")),
              (nlohmann::json{{"Software\\Shared", {{"first", 1}, {"second", 2}, {"third", 3}}}}));
}

TEST_F(LinuxRegistryTest, RewriteKeepsTheFilesPermissions) {
    ASSERT_EQ(Set(CU, L"Software\\P", L"v", kRegDword, Dword(1)), 0u);
    const fs::path file = directory / "HKEY_CURRENT_USER.json";
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
    ::chmod(file.c_str(), 0644);
    ASSERT_EQ(Set(CU, L"Software\\P", L"v", kRegDword, Dword(2)), 0u);
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read | fs::perms::others_read);
}

TEST(LinuxRegistryDirectory, EnvironmentChoosesTheDirectory) {
    std::map<std::string, std::optional<std::string>> saved;
    auto set = [&](const char* name, const char* value) {
        if (const char* old = std::getenv(name); !saved.count(name))
            saved[name] = old ? std::optional<std::string>(old) : std::nullopt;
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    };
    set("QUORVANE_REGISTRY_DIR", "/srv/reg");
    EXPECT_EQ(CLinuxRegistry::DefaultDirectory(), "/srv/reg");
    set("QUORVANE_REGISTRY_DIR", nullptr);
    set("XDG_CONFIG_HOME", "/cfg");
    EXPECT_EQ(CLinuxRegistry::DefaultDirectory(), "/cfg/quorvane/registry");
    set("XDG_CONFIG_HOME", "");
    set("HOME", "/home/someone");
    EXPECT_EQ(CLinuxRegistry::DefaultDirectory(), "/home/someone/.config/quorvane/registry");
    for (const auto& [name, value] : saved)
        value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
}

}  // namespace
}  // namespace qv

#endif  // _WIN32
