// The vendor library port of the machine's platform with the reference
// ORBENT64 beside the program, with its doubles, and without it.
#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#endif

#include "core/text.h"
#include "platform/native.h"
#include "platform/vendor_library_api.h"
#include "support/wait_until.h"
#include "vendor_fixture.h"

namespace qv::test {

namespace {

const std::wstring kEndpoint = L"{0.0.0.00000000}.{5b1f2c3d-0000-4000-8000-00000000speak}";
constexpr std::array<uint8_t, 11> kLobeFit = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0xfe};

constexpr int32_t kInvalidHandle = 6;
constexpr int32_t kInsufficientBuffer = 122;
constexpr int32_t kModNotFound = 126;
constexpr int32_t kProcNotFound = 127;
constexpr int32_t kNotFound = 1168;

#ifdef _WIN32
const std::filesystem::path kChromeExtensions = "Google/Chrome/User Data/Default/Extensions";
const std::filesystem::path kChromiumExtensions = kChromeExtensions;  // no such browser on Windows
const std::filesystem::path kEdgeExtensions = "Microsoft/Edge/User Data/Default/Extensions";
#else
const std::filesystem::path kChromeExtensions = "google-chrome/Default/Extensions";
const std::filesystem::path kChromiumExtensions = "chromium/Default/Extensions";
const std::filesystem::path kEdgeExtensions = "microsoft-edge/Default/Extensions";
#endif

class VendorApiTest : public VendorFixture {
protected:
    // The reference library beside the program, an API and an endpoint of it.
    void OpenEndpoint(const char* library = QV_ORBENT_LIBRARY) {
        Place(library);
        ASSERT_TRUE(MakePort());
        api = m_port->ORBAPOAPI_InitializeAPI();
        ASSERT_NE(api, 0u);
        endpoint = m_port->ORBAPOAPI_GetEndpoint(api, kEndpoint);
        ASSERT_NE(endpoint, 0u);
    }
    void TearDown() override {
        if (m_port && endpoint) m_port->ORBAPOAPI_FreeEndpoint(endpoint);
        if (m_port && api) m_port->ORBAPOAPI_FreeAPI(api);
        VendorFixture::TearDown();
    }
    // Get with the given room: the result, and the bytes it wrote.
    int32_t Get(int32_t first, int32_t second, int32_t third, uint32_t room, std::vector<uint8_t>& value) {
        value.assign(room, 0xcc);
        uint32_t size = room;
        const int32_t result = m_port->ORBAPOAPI_GetUserParameterEx(endpoint, first, second, third, value.data(), size);
        value.resize(result ? size : 0);
        lastSize = size;
        return result;
    }

    ORBAPI_HANDLE api = 0;
    ORBAPI_HANDLE endpoint = 0;
    uint32_t lastSize = 0;
};

TEST_F(VendorApiTest, AParameterGoesThroughTheFileToAnotherApiAndNeedsItsRoom) {
    OpenEndpoint();
    m_port->ORBAPOAPI_SetAPOType(endpoint, "SFX");
    m_port->ORBAPOAPI_SetUserParameterEx(endpoint, 5, 148, -1, kLobeFit.data(), kLobeFit.size());
    EXPECT_NE(ReadFile(ParameterFile()).find("\"5,148,-1\": \"0102030405060708090afe\""), std::string::npos)
        << ReadFile(ParameterFile());

    // A second API of its own reads what the first one wrote.
    const ORBAPI_HANDLE otherApi = m_port->ORBAPOAPI_InitializeAPI();
    const ORBAPI_HANDLE other = m_port->ORBAPOAPI_GetEndpoint(otherApi, kEndpoint);
    std::vector<uint8_t> value(32);
    uint32_t size = static_cast<uint32_t>(value.size());
    ASSERT_NE(m_port->ORBAPOAPI_GetUserParameterEx(other, 5, 148, -1, value.data(), size), 0);
    EXPECT_EQ(std::vector<uint8_t>(value.begin(), value.begin() + size),
              std::vector<uint8_t>(kLobeFit.begin(), kLobeFit.end()));
    m_port->ORBAPOAPI_FreeAPI(otherApi);
    // The endpoint went with its API.
    EXPECT_EQ(m_port->ORBAPOAPI_GetUserParameterEx(other, 5, 148, -1, value.data(), size), 0);
    EXPECT_EQ(m_port->ORBAPOAPI_GetLastError(0), kInvalidHandle);

    // Too little room fails and says what it needs.
    EXPECT_EQ(Get(5, 148, -1, 10, value), 0);
    EXPECT_EQ(m_port->ORBAPOAPI_GetLastError(api), kInsufficientBuffer);
    EXPECT_EQ(lastSize, kLobeFit.size());
    EXPECT_NE(Get(5, 148, -1, 11, value), 0);
    EXPECT_EQ(lastSize, 11u);
}

// The availability answers and what a damaged file reads as.
TEST_F(VendorApiTest, AvailabilityComesFromTheFileAndDefaultsToZero) {
    struct Case {
        const char* file;  // null: no file at all
        uint8_t autoPreset;
        uint8_t lobeFit;
    };
    const std::string id = "\"{0.0.0.00000000}.{5b1f2c3d-0000-4000-8000-00000000speak}\"";
    const std::vector<Case> cases = {
        {nullptr, 0, 0},
        {"", 0, 0},
        {"{\"broken", 0, 0},
        {"[1,2,3]", 0, 0},
        {"{\"other endpoint\": {\"-1,-37,-1\": \"01\"}}", 0, 0},
        {"{ID: {\"-1,-37,-1\": \"01\"}}", 1, 0},
        {"{ID: {\"-1,-37,-1\": \"01\", \"-1,-36,-1\": \"01\"}}", 1, 1},
        {"{ID: {\"-1,-37,-1\": \"zz\", \"-1,-36,-1\": 7}}", 0, 0},
        {"{ID: [\"-1,-37,-1\"]}", 0, 0},
    };
    OpenEndpoint();
    for (const Case& c : cases) {
        std::string text = c.file ? c.file : "";
        if (auto at = text.find("ID"); at != std::string::npos) text.replace(at, 2, id);
        std::filesystem::remove(ParameterFile());
        if (c.file) WriteFile(ParameterFile(), text);
        std::vector<uint8_t> value;
        ASSERT_NE(Get(-1, -37, -1, 4, value), 0) << text;
        EXPECT_EQ(value, std::vector<uint8_t>{c.autoPreset}) << text;
        ASSERT_NE(Get(-1, -36, -1, 4, value), 0) << text;
        EXPECT_EQ(value, std::vector<uint8_t>{c.lobeFit}) << text;
        // Anything else that was never written is not there.
        EXPECT_EQ(Get(5, 148, -1, 11, value), 0) << text;
        EXPECT_EQ(m_port->ORBAPOAPI_GetLastError(api), kNotFound) << text;
    }
}

// 1, the answer that offers the add-on, only for a browser profile without it.
TEST_F(VendorApiTest, TheAddOnIsMissingFromAProfileWithoutItsFolder) {
    struct Case {
        const wchar_t* vendor;
        const wchar_t* browser;
        std::filesystem::path folder;  // below the profile; empty: none made
        const wchar_t* id;
        int32_t expected;
    };
    const std::vector<Case> cases = {
        {L"Google", L"Chrome", kChromeExtensions / "abcdefghijklmnop", L"abcdefghijklmnop", 2},
        {L"Google", L"Chrome", kChromiumExtensions / "abcdefghijklmnop", L"abcdefghijklmnop", 2},
        {L"Microsoft", L"Edge", kEdgeExtensions / "abcdefghijklmnop", L"abcdefghijklmnop", 2},
        {L"Google", L"Chrome", kChromeExtensions / "other", L"abcdefghijklmnop", 1},
        {L"Google", L"Chrome", kChromiumExtensions.parent_path(), L"abcdefghijklmnop", 1},
        {L"Google", L"Chrome", {}, L"abcdefghijklmnop", 0},
        {L"Google", L"Chrome", kEdgeExtensions / "abcdefghijklmnop", L"abcdefghijklmnop", 0},
        {L"Microsoft", L"Edge", kChromeExtensions / "abcdefghijklmnop", L"abcdefghijklmnop", 0},
        {L"Mozilla", L"Firefox", kChromeExtensions / "abcdefghijklmnop", L"abcdefghijklmnop", 0},
        // An id is a name, never a path out of the folder.
        {L"Google", L"Chrome", kChromeExtensions / "x", L"../Extensions/x", 0},
        {L"Google", L"Chrome", kChromeExtensions, L"", 0},
    };
    Place(QV_ORBENT_LIBRARY);
    ASSERT_TRUE(MakePort());
    for (const Case& c : cases) {
        std::filesystem::remove_all(Profile());
        std::filesystem::create_directories(Profile() / c.folder);
        EXPECT_EQ(m_port->ORBMISCAPI_IsBrowserExtensionInstalled(c.vendor, c.browser, c.id), c.expected)
            << (Profile() / c.folder).string();
    }
}

TEST_F(VendorApiTest, OpenBrowserStartsTheBrowserWithTheArguments) {
    Place(QV_ORBENT_LIBRARY);
    ASSERT_TRUE(MakePort());
    const std::filesystem::path heard = m_folder / "heard.txt";
#ifdef _WIN32
    wchar_t system[MAX_PATH] = {};
    ::GetSystemDirectoryW(system, MAX_PATH);
    SetEnvironment("QUORVANE_ORBENT_BROWSER", std::filesystem::path(system) / "cmd.exe");
    const std::wstring arguments = L"/c echo --new-window \"a b\"> \"" + heard.wstring() + L"\"";
    const std::string expected = "--new-window \"a b\"";
#else
    const std::filesystem::path browser = m_folder / "browser";
    WriteFile(browser, "#!/bin/sh\nfor a in \"$@\"; do echo \"$a\"; done > \"" + heard.string() + ".part\"\nmv \"" +
                           heard.string() + ".part\" \"" + heard.string() + "\"\n");
    std::filesystem::permissions(browser, std::filesystem::perms::owner_all);
    SetEnvironment("QUORVANE_ORBENT_BROWSER", browser);
    const std::wstring arguments = L"--new-window  \"a b\" https://example.invalid/x";
    const std::string expected = "--new-window\na b\nhttps://example.invalid/x";
#endif
    ASSERT_EQ(m_port->ORBMISCAPI_OpenBrowser(L"Google", L"Chrome", arguments), 1);
    ASSERT_TRUE(WaitUntil([&] { return ReadFile(heard).find(expected) != std::string::npos; })) << ReadFile(heard);

    // A browser that is not there is not started.
    SetEnvironment("QUORVANE_ORBENT_BROWSER", m_folder / "no-such-browser");
    EXPECT_EQ(m_port->ORBMISCAPI_OpenBrowser(L"Microsoft", L"Edge", L"--x"), 0);
    EXPECT_EQ(m_port->ORBMISCAPI_OpenBrowser(L"Mozilla", L"Firefox", L"--x"), 0);
}

// Without the library, or without all of it, the port says so once and every
// call fails as the library's absence would.
TEST_F(VendorApiTest, AnAbsentLibraryFailsEveryCall) {
    struct Case {
        const char* library;  // null: none placed; "garbage": a file that is no library
        int32_t lastError;
        const wchar_t* traced;
    };
    const std::vector<Case> cases = {
        {nullptr, kModNotFound, L"not loaded with error code 126"},
        {"garbage", 193, L"not loaded with error code"},
        {QV_ORBENT_DOUBLE_NO_OPEN_BROWSER, kProcNotFound, L"lacks ORBMISCAPI_OpenBrowser"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.library ? c.library : "none");
        std::filesystem::remove(m_folder / kVendorLibraryFileName);
        if (c.library && std::string(c.library) == "garbage")
            WriteFile(m_folder / kVendorLibraryFileName, "not a library");
        else if (c.library)
            Place(c.library);
        m_trace->lines.clear();
        ASSERT_TRUE(MakePort());
        ASSERT_EQ(m_trace->lines.size(), 1u);
        EXPECT_NE(m_trace->lines[0].find(c.traced), std::wstring::npos);
        std::filesystem::create_directories(Profile() / kChromeExtensions / "abcdefghijklmnop");

        EXPECT_EQ(m_port->ORBAPOAPI_InitializeAPI(), 0u);
        EXPECT_EQ(m_port->ORBAPOAPI_GetEndpoint(1, kEndpoint), 0u);
        uint8_t byte = 7;
        uint32_t size = 1;
        EXPECT_EQ(m_port->ORBAPOAPI_GetUserParameterEx(1, -1, -37, -1, &byte, size), 0);
        EXPECT_EQ(size, 0u);
        m_port->ORBAPOAPI_SetUserParameterEx(1, 5, 148, -1, kLobeFit.data(), kLobeFit.size());
        EXPECT_FALSE(std::filesystem::exists(ParameterFile()));
        EXPECT_EQ(m_port->ORBMISCAPI_IsBrowserExtensionInstalled(L"Google", L"Chrome", L"abcdefghijklmnop"), 0);
        EXPECT_EQ(m_port->ORBMISCAPI_OpenBrowser(L"Google", L"Chrome", L"--x"), 0);
        EXPECT_EQ(m_port->ORBAPOAPI_GetLastError(0), c.lastError);
        EXPECT_EQ(m_trace->lines.size(), 1u);
        m_port = nullptr;
    }
}

TEST_F(VendorApiTest, DoublesGiveTheAnswersTheyStandFor) {
    Place(QV_ORBENT_DOUBLE_NO_API);
    ASSERT_TRUE(MakePort());
    // A library with all its functions loads, and the port says from where.
    ASSERT_EQ(m_trace->lines.size(), 1u);
    EXPECT_NE(m_trace->lines[0].find((m_folder / kVendorLibraryFileName).wstring() + L" loaded"), std::wstring::npos)
        << WideToUtf8(m_trace->lines[0]);
    EXPECT_EQ(m_port->ORBAPOAPI_InitializeAPI(), 0u);
    EXPECT_EQ(m_port->ORBAPOAPI_GetLastError(0), kNotFound);
    m_port = nullptr;

    Place(QV_ORBENT_DOUBLE_EXTENSION_MISSING);
    ASSERT_TRUE(MakePort());
    EXPECT_EQ(m_port->ORBMISCAPI_IsBrowserExtensionInstalled(L"Google", L"Chrome", L"abcdefghijklmnop"), 1);
}

// The machine's platform hands out a port even where the library is not
// beside the program (the test program's folder has none): it fails calls.
TEST(VendorApiPlatform, WithoutTheLibraryThePortFailsCalls) {
    CRefPtr<IPlatform> platform = CreateNativePlatform();
    CRefPtr<IVendorApi> port = platform->VendorApi();
    ASSERT_TRUE(port);
    EXPECT_EQ(port, platform->VendorApi());
    EXPECT_EQ(port->ORBAPOAPI_InitializeAPI(), 0u);
    EXPECT_EQ(port->ORBAPOAPI_GetLastError(0), kModNotFound);
}

}  // namespace

}  // namespace qv::test
