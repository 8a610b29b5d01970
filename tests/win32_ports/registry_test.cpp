// The Windows registry port against the real registry (Wine's, in the test
// runs): values of any size come back whole, and options and access pass
// through. The test works below HKEY_CURRENT_USER\Software\QuorvaneTests
// and removes what it made.
#ifdef _WIN32

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/native.h"
#include "platform/win32/windows_api.h"

namespace qv {
namespace {

constexpr auto CU = RegistryRoot::CurrentUser;

class Win32RegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        registry = CreateNativePlatform()->Registry();
        ASSERT_TRUE(registry);
        base = L"Software\\QuorvaneTests\\" + std::to_wstring(::GetCurrentProcessId());
    }
    void TearDown() override {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, base.c_str());
        ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\QuorvaneTests");  // only if empty
    }

    CRefPtr<IRegistry> registry;
    std::wstring base;
};

TEST_F(Win32RegistryTest, ValuesComeBackWholeAndReadOnlyKeysRefuseWrites) {
    CRefPtr<IRegistryKey> key;
    ASSERT_EQ(
        registry->RegCreateKeyEx(CU, base + L"\\Values", REG_OPTION_OPEN_LINK, KEY_ALL_ACCESS & ~SYNCHRONIZE, key), 0u);
    std::vector<uint8_t> text = WideToUtf16Le(L"C:\\Users\\\u00e9\\x.json");
    text.insert(text.end(), {0, 0});
    std::vector<uint8_t> big(70000);
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<uint8_t>(i);
    ASSERT_EQ(key->RegSetValueEx(L"", REG_SZ, text), 0u);
    ASSERT_EQ(key->RegSetValueEx(L"Big", REG_BINARY, big), 0u);
    ASSERT_EQ(key->RegSetValueEx(L"Empty", REG_BINARY, {}), 0u);

    CRefPtr<IRegistryKey> readOnly;
    ASSERT_EQ(registry->RegOpenKeyEx(CU, base + L"\\VALUES", REG_OPTION_OPEN_LINK, KEY_READ, readOnly), 0u);
    uint32_t type = 0;
    std::vector<uint8_t> data;
    ASSERT_EQ(readOnly->RegQueryValueEx(L"", type, data), 0u);
    EXPECT_EQ(type, static_cast<uint32_t>(REG_SZ));
    EXPECT_EQ(data, text);
    ASSERT_EQ(readOnly->RegQueryValueEx(L"big", type, data), 0u);
    EXPECT_TRUE(data == big);
    ASSERT_EQ(readOnly->RegQueryValueEx(L"Empty", type, data), 0u);
    EXPECT_TRUE(data.empty());
    EXPECT_EQ(readOnly->RegQueryValueEx(L"Missing", type, data), static_cast<uint32_t>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(readOnly->RegSetValueEx(L"x", REG_DWORD, {1, 0, 0, 0}), static_cast<uint32_t>(ERROR_ACCESS_DENIED));

    CRefPtr<IRegistryKey> missing;
    EXPECT_EQ(registry->RegOpenKeyEx(CU, base + L"\\Absent", 0, KEY_READ, missing),
              static_cast<uint32_t>(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(missing);
}

}  // namespace
}  // namespace qv

#endif  // _WIN32
