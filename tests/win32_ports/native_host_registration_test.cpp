// Registering the native host in Wine's real registry, under a root and a
// host name that no other run uses: never through a link key. (That the
// manifest and its value are written once, and again for a moved program,
// is told between real processes by tests/shell_processes.)
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/win32/windows_api.h"
// After <windows.h>, which it needs.
#include <sddl.h>
#include "shell/native_host_registration.h"
#include "win32_ports_support.h"

namespace qv {
namespace {

using test::UniqueName;
using test::Win32Platform;

std::wstring LocalAppData() {
    std::wstring folder;
    EXPECT_GE(Win32Platform()->Files()->GetLocalAppDataFolder(folder), 0);
    return folder;
}

// The default value, or nothing.
std::optional<std::wstring> DefaultValue(const std::wstring& keyPath) {
    wchar_t value[2048] = {};
    DWORD size = sizeof value;
    if (::RegGetValueW(HKEY_CURRENT_USER, keyPath.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, value, &size) !=
        ERROR_SUCCESS)
        return std::nullopt;
    return std::wstring(value);
}

// "\REGISTRY\USER\<sid>": where HKEY_CURRENT_USER is in the kernel's names,
// which a link's target is written in.
std::wstring CurrentUserKernelPath() {
    HANDLE token = nullptr;
    EXPECT_TRUE(::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token));
    std::unique_ptr<void, decltype(&::CloseHandle)> closeToken(token, &::CloseHandle);
    std::vector<uint8_t> buffer(256);
    DWORD size = 0;
    EXPECT_TRUE(::GetTokenInformation(token, TokenUser, buffer.data(), static_cast<DWORD>(buffer.size()), &size));
    wchar_t* sid = nullptr;
    EXPECT_TRUE(::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid, &sid));
    std::unique_ptr<wchar_t, decltype(&::LocalFree)> freeSid(sid, &::LocalFree);
    return std::wstring(L"\\REGISTRY\\USER\\") + (sid ? sid : L"");
}

class Win32NativeHostRegistrationTest : public ::testing::Test {
protected:
    void SetUp() override { SetPlatform(Win32Platform()); }
    void TearDown() override {
        SetPlatform(nullptr);
        ::DeleteFileW(manifestPath.c_str());
        ::RegDeleteTreeW(HKEY_CURRENT_USER, base.c_str());
        ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\QuorvaneTests");  // only if empty
    }

    const std::wstring base = L"Software\\QuorvaneTests\\" + UniqueName(L"registration");
    const std::wstring root = base + L"\\NativeMessagingHosts";
    const std::wstring host = UniqueName(L"com.quorvane.test");
    const std::wstring keyPath = root + L"\\" + host;
    const std::wstring manifestPath = LocalAppData() + L"\\Quorvane\\NativeMessaging\\" + host + L".json";
};

TEST_F(Win32NativeHostRegistrationTest, ALinkKeyIsNotWrittenThrough) {
    const std::wstring target = base + L"\\Target";
    HKEY made = nullptr;
    ASSERT_EQ(
        ::RegCreateKeyExW(HKEY_CURRENT_USER, target.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr),
        ERROR_SUCCESS);
    const wchar_t kept[] = L"kept";
    ::RegSetValueExW(made, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(kept), sizeof kept);
    ::RegCloseKey(made);

    HKEY link = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, keyPath.c_str(), 0, nullptr, REG_OPTION_CREATE_LINK,
                                KEY_ALL_ACCESS | KEY_CREATE_LINK, nullptr, &link, nullptr),
              ERROR_SUCCESS)
        << "Wine makes no registry link here";
    const std::wstring linkTarget = CurrentUserKernelPath() + L"\\" + target;
    ASSERT_EQ(
        ::RegSetValueExW(link, L"SymbolicLinkValue", 0, REG_LINK, reinterpret_cast<const BYTE*>(linkTarget.data()),
                         static_cast<DWORD>(linkTarget.size() * sizeof(wchar_t))),
        ERROR_SUCCESS);
    ::RegCloseKey(link);
    ASSERT_EQ(DefaultValue(keyPath), L"kept") << "the link leads to its target";

    RegisterNativeHost(root, host);
    EXPECT_EQ(DefaultValue(target), L"kept");
    EXPECT_EQ(::GetFileAttributesW(manifestPath.c_str()), INVALID_FILE_ATTRIBUTES);

    // A link key goes by itself only when opened as itself.
    HKEY self = nullptr;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, keyPath.c_str(), REG_OPTION_OPEN_LINK, DELETE, &self) == ERROR_SUCCESS) {
        using NtDeleteKeyFunction = LONG(WINAPI*)(HANDLE);
        auto deleteKey = reinterpret_cast<NtDeleteKeyFunction>(
            reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtDeleteKey")));
        if (deleteKey) deleteKey(self);
        ::RegCloseKey(self);
    }
}

}  // namespace
}  // namespace qv
