// The in-memory registry through its port, as the simulated platform gives
// it (the Linux registry shares the same store): case, parents, links and
// the options that decide whether a link is followed, access, and the
// failures that a test can ask for.
#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/sim/sim_platform.h"

namespace qv {
namespace {

constexpr auto LM = RegistryRoot::LocalMachine;
constexpr auto CU = RegistryRoot::CurrentUser;
const std::wstring kApoKey = L"Software\\Quorvane\\Logging\\APO";

std::vector<uint8_t> Dword(uint32_t v) {
    return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 24)};
}

class SimRegistryTest : public ::testing::Test {
protected:
    CRefPtr<IRegistryKey> Open(RegistryRoot root, const std::wstring& path, uint32_t options = 0,
                               Win32Error expected = 0, uint32_t access = kKeyRead) {
        CRefPtr<IRegistryKey> key;
        EXPECT_EQ(registry->RegOpenKeyEx(root, path, options, access, key), expected) << WideToUtf8(path);
        EXPECT_EQ(static_cast<bool>(key), expected == 0);
        return key;
    }
    // The value's type and bytes; a failure fails the test.
    std::pair<uint32_t, std::vector<uint8_t>> Query(IRegistryKey& key, const std::wstring& name) {
        uint32_t type = 0;
        std::vector<uint8_t> data;
        EXPECT_EQ(key.RegQueryValueEx(name, type, data), 0u) << WideToUtf8(name);
        return {type, data};
    }
    Win32Error QueryError(IRegistryKey& key, const std::wstring& name) {
        uint32_t type = 0;
        std::vector<uint8_t> data;
        return key.RegQueryValueEx(name, type, data);
    }

    CRefPtr<CSimPlatform> platform = MakeRef<CSimPlatform>();
    CRefPtr<CSimRegistry> registry = platform->SimRegistry;
};

TEST_F(SimRegistryTest, KeysAndValueNamesMatchWithoutRegardToCaseAndMissingOnesAreFileNotFound) {
    ASSERT_EQ(platform->Registry().get(), static_cast<IRegistry*>(registry.get()));
    registry->SetDword(LM, kApoKey, L"MIRADO", 7);
    CRefPtr<IRegistryKey> key = Open(LM, L"SOFTWARE\\quorvane\\logging\\Apo\\");
    ASSERT_TRUE(key);
    EXPECT_EQ(Query(*key, L"mirado"), std::make_pair(kRegDword, Dword(7)));
    EXPECT_EQ(QueryError(*key, L"Nothing"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(QueryError(*key, L""), ERROR_FILE_NOT_FOUND);
    Open(LM, L"Software\\Absent", 0, ERROR_FILE_NOT_FOUND);
    Open(CU, kApoKey, 0, ERROR_FILE_NOT_FOUND);  // the roots are apart
}

TEST_F(SimRegistryTest, CreateMakesTheParentsAndKeepsTheFirstSpelling) {
    const std::wstring hostKey = L"SOFTWARE\\Google\\Chrome\\NativeMessagingHosts\\com.quorvane.contentclassifier";
    CRefPtr<IRegistryKey> key;
    ASSERT_EQ(registry->RegCreateKeyEx(CU, hostKey, kRegOptionOpenLink, kKeyAllAccessNoSync, key), 0u);
    std::vector<uint8_t> path = WideToUtf16Le(L"C:\\x.json");
    path.insert(path.end(), {0, 0});
    ASSERT_EQ(key->RegSetValueEx(L"", kRegSz, path), 0u);

    EXPECT_TRUE(registry->KeyExists(CU, L"software\\google"));
    CRefPtr<IRegistryKey> again;
    ASSERT_EQ(
        registry->RegCreateKeyEx(CU, L"software\\GOOGLE\\chrome\\nativemessaginghosts\\COM.QUORVANE.CONTENTCLASSIFIER",
                                 kRegOptionOpenLink, kKeyAllAccessNoSync, again),
        0u);
    EXPECT_EQ(Query(*again, L""), std::make_pair(kRegSz, path));
    auto stored = registry->GetValue(CU, hostKey, L"");
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->data, path);
}

TEST_F(SimRegistryTest, LinkIsFollowedUnlessOpenedAsALink) {
    registry->SetDword(LM, L"Software\\Elsewhere", L"MIRADO", 1);
    registry->MakeLink(LM, kApoKey, LM, L"Software\\Elsewhere");

    CRefPtr<IRegistryKey> followed = Open(LM, kApoKey);
    EXPECT_EQ(Query(*followed, L"MIRADO"), std::make_pair(kRegDword, Dword(1)));
    EXPECT_EQ(QueryError(*followed, L"SymbolicLinkValue"), ERROR_FILE_NOT_FOUND);

    CRefPtr<IRegistryKey> itself = Open(LM, kApoKey, kRegOptionOpenLink);
    auto [type, data] = Query(*itself, L"SymbolicLinkValue");
    EXPECT_EQ(type, kRegLink);
    EXPECT_EQ(Utf16LeToWide(data.data(), data.size()), L"\\REGISTRY\\MACHINE\\Software\\Elsewhere");
    EXPECT_EQ(QueryError(*itself, L"MIRADO"), ERROR_FILE_NOT_FOUND);

    // Writing through a followed link lands in the target.
    CRefPtr<IRegistryKey> writable;
    ASSERT_EQ(registry->RegCreateKeyEx(LM, kApoKey, 0, kKeyAllAccessNoSync, writable), 0u);
    ASSERT_EQ(writable->RegSetValueEx(L"Written", kRegDword, Dword(9)), 0u);
    EXPECT_TRUE(registry->GetValue(LM, L"Software\\Elsewhere", L"Written"));
    EXPECT_FALSE(registry->GetValue(LM, kApoKey, L"Written"));
}

TEST_F(SimRegistryTest, LinkOnTheWayIsFollowedEvenWithOpenLink) {
    registry->SetDword(CU, L"Software\\Real\\Inner", L"Value", 3);
    // A link from the user's root into the machine's and back.
    registry->MakeLink(CU, L"Software\\Alias", LM, L"Software\\Bridge");
    registry->MakeLink(LM, L"Software\\Bridge", CU, L"Software\\Real");
    CRefPtr<IRegistryKey> key = Open(CU, L"Software\\Alias\\Inner", kRegOptionOpenLink);
    ASSERT_TRUE(key);
    EXPECT_EQ(Query(*key, L"Value"), std::make_pair(kRegDword, Dword(3)));
}

TEST_F(SimRegistryTest, CircularAndBrokenLinksFailInsteadOfLooping) {
    registry->MakeLink(LM, L"Software\\A", LM, L"Software\\B");
    registry->MakeLink(LM, L"Software\\B", LM, L"Software\\A");
    Open(LM, L"Software\\A", 0, CRegistryStore::kErrorCantResolveFilename);
    EXPECT_TRUE(Open(LM, L"Software\\A", kRegOptionOpenLink));

    registry->SetValue(LM, L"Software\\Broken", CRegistryStore::kLinkValueName, kRegLink, WideToUtf16Le(L"nowhere"));
    Open(LM, L"Software\\Broken", 0, ERROR_FILE_NOT_FOUND);
    // A link value of another type makes no link.
    registry->SetValue(LM, L"Software\\NotALink", CRegistryStore::kLinkValueName, kRegSz, WideToUtf16Le(L"x"));
    EXPECT_TRUE(Open(LM, L"Software\\NotALink"));
}

TEST_F(SimRegistryTest, KeyOpenedForReadingRefusesWrites) {
    registry->CreateKey(CU, L"Software\\Q");
    CRefPtr<IRegistryKey> readOnly = Open(CU, L"Software\\Q");
    EXPECT_EQ(readOnly->RegSetValueEx(L"x", kRegDword, Dword(1)), ERROR_ACCESS_DENIED);
    CRefPtr<IRegistryKey> noQuery = Open(CU, L"Software\\Q", 0, 0, /*access=*/0x0002);
    EXPECT_EQ(noQuery->RegSetValueEx(L"x", kRegDword, Dword(1)), 0u);
    EXPECT_EQ(QueryError(*noQuery, L"x"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Query(*readOnly, L"x"), std::make_pair(kRegDword, Dword(1)));
}

TEST_F(SimRegistryTest, RequestedFailuresHitOnlyTheirOperationPathAndValue) {
    registry->SetDword(LM, kApoKey, L"MIRADO", 1);
    registry->SetDword(LM, kApoKey, L"Other", 2);
    registry->FailOpen(LM, L"software\\quorvane\\logging\\apo", 1018);
    Open(LM, kApoKey, kRegOptionOpenLink, 1018);
    Open(CU, kApoKey, 0, ERROR_FILE_NOT_FOUND);  // not the failing root: the plain answer

    registry->ClearFailures();
    CRefPtr<IRegistryKey> key = Open(LM, kApoKey);
    registry->FailQuery(LM, kApoKey, L"mirado", ERROR_MORE_DATA);
    EXPECT_EQ(QueryError(*key, L"MIRADO"), ERROR_MORE_DATA);
    EXPECT_EQ(Query(*key, L"Other"), std::make_pair(kRegDword, Dword(2)));

    registry->FailSet(LM, kApoKey, std::nullopt, ERROR_ACCESS_DENIED);
    CRefPtr<IRegistryKey> writable;
    ASSERT_EQ(registry->RegCreateKeyEx(LM, kApoKey, 0, kKeyAllAccessNoSync, writable), 0u);
    EXPECT_EQ(writable->RegSetValueEx(L"Any", kRegDword, Dword(3)), ERROR_ACCESS_DENIED);

    registry->FailCreate(CU, L"Software\\New", 5);
    EXPECT_EQ(registry->RegCreateKeyEx(CU, L"Software\\New", 0, kKeyAllAccessNoSync, writable), 5u);
    EXPECT_FALSE(writable);
    EXPECT_FALSE(registry->KeyExists(CU, L"Software\\New"));
}

}  // namespace
}  // namespace qv
