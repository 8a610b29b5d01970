// Registering the native host on the simulated (Windows-like) machine: the
// manifest file in the local application data, the registry value that
// names it, and what is left alone when both already say the same.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/codes.h"
#include "platform/sim/sim_platform.h"
#include "shell/manifest_template.h"
#include "shell/native_host_path.h"
#include "shell/native_host_registration.h"

namespace qv {
namespace {

const std::wstring kChromeRoot = L"SOFTWARE\\Google\\Chrome\\NativeMessagingHosts";
const std::wstring kEdgeRoot = L"SOFTWARE\\Microsoft\\Edge\\NativeMessagingHosts";
const std::wstring kHost = L"com.quorvane.contentclassifier";
const std::wstring kManifestPath =
    L"C:\\Users\\Sim\\AppData\\Local\\Quorvane\\NativeMessaging\\com.quorvane.contentclassifier.json";

std::vector<uint8_t> Bytes(const std::string& text) { return {text.begin(), text.end()}; }

class NativeHostRegistrationTest : public testing::Test {
protected:
    void SetUp() override { SetPlatform(platform); }
    void TearDown() override { SetPlatform(nullptr); }

    // The template with the host path that the manifest must name.
    std::string ExpectedManifest(const std::string& hostPathInJson) {
        return FillManifestTemplate(*LoadManifestTemplate(), hostPathInJson);
    }
    std::optional<std::wstring> DefaultValue(const std::wstring& root) {
        auto value = platform->SimRegistry->GetValue(RegistryRoot::CurrentUser, root + L"\\" + kHost, L"");
        if (!value || value->type != kRegSz) return std::nullopt;
        std::wstring text = Utf16LeToWide(value->data.data(), value->data.size());
        EXPECT_TRUE(!text.empty() && text.back() == L'\0') << "stored with its terminator";
        return text.substr(0, text.find(L'\0'));
    }
    int Writes() { return platform->SimFiles->WriteCount(kManifestPath); }
    std::vector<std::wstring> JournalFrom(std::size_t first) {
        auto entries = platform->SimJournal->Entries();
        return {entries.begin() + static_cast<std::ptrdiff_t>(first), entries.end()};
    }

    CRefPtr<CSimPlatform> platform = MakeRef<CSimPlatform>();
};

TEST_F(NativeHostRegistrationTest, FirstStartWritesTheManifestAndItsValueAndTheSecondWritesNeither) {
    RegisterNativeHost(kChromeRoot, kHost);
    const auto firstJournal = platform->SimJournal->Entries();
    EXPECT_EQ(platform->SimFiles->FileContent(kManifestPath),
              Bytes(ExpectedManifest("C:\\\\Program Files\\\\Quorvane\\\\PELTAK64.exe")));
    EXPECT_EQ(DefaultValue(kChromeRoot), kManifestPath);
    EXPECT_EQ(firstJournal, (std::vector<std::wstring>{
                                L"Resources::LoadResource 300",
                                L"Registry::RegCreateKeyEx " + kChromeRoot + L"\\" + kHost,
                                L"Files::WriteWholeFile " + kManifestPath,
                                L"Registry::RegSetValueEx",
                            }));

    const std::size_t before = platform->SimJournal->Entries().size();
    RegisterNativeHost(kChromeRoot, kHost);
    EXPECT_EQ(Writes(), 1);
    EXPECT_EQ(JournalFrom(before), (std::vector<std::wstring>{
                                       L"Resources::LoadResource 300",
                                       L"Registry::RegCreateKeyEx " + kChromeRoot + L"\\" + kHost,
                                   }));
}

TEST_F(NativeHostRegistrationTest, AMovedProgramRewritesTheManifestOnceAndAnotherRootOnlyGetsItsValue) {
    RegisterNativeHost(kChromeRoot, kHost);
    platform->SimSystem->SetModuleFileName(L"D:\\Apps\\Q\\ContentClassifier.exe");
    RegisterNativeHost(kChromeRoot, kHost);
    const std::vector<uint8_t> moved = Bytes(ExpectedManifest("D:\\\\Apps\\\\Q\\\\PELTAK64.exe"));
    EXPECT_EQ(platform->SimFiles->FileContent(kManifestPath), moved);
    EXPECT_EQ(Writes(), 2);

    // Both browsers share the one file. The new root has no value yet, so the
    // file is written again (with the same text) before the value is set.
    RegisterNativeHost(kEdgeRoot, kHost);
    EXPECT_EQ(platform->SimFiles->FileContent(kManifestPath), moved);
    EXPECT_EQ(DefaultValue(kEdgeRoot), kManifestPath);
    EXPECT_EQ(DefaultValue(kChromeRoot), kManifestPath);
    EXPECT_EQ(Writes(), 3);
    RegisterNativeHost(kChromeRoot, kHost);
    RegisterNativeHost(kEdgeRoot, kHost);
    EXPECT_EQ(Writes(), 3);
}

TEST_F(NativeHostRegistrationTest, AValueThatNamesAnotherPathIsCorrectedAndTheFileRewrittenEvenIfItMatches) {
    RegisterNativeHost(kChromeRoot, kHost);
    const struct {
        const wchar_t* why;
        std::wstring value;
    } cases[] = {
        {L"another file", L"C:\\Elsewhere\\manifest.json"},
        {L"other case",
         L"c:\\users\\sim\\appdata\\local\\quorvane\\nativemessaging\\com.quorvane.contentclassifier.json"},
    };
    int writes = Writes();
    for (const auto& c : cases) {
        platform->SimRegistry->SetString(RegistryRoot::CurrentUser, kChromeRoot + L"\\" + kHost, L"", c.value);
        RegisterNativeHost(kChromeRoot, kHost);
        EXPECT_EQ(Writes(), ++writes) << c.why;
        EXPECT_EQ(DefaultValue(kChromeRoot), kManifestPath) << c.why;
    }
}

TEST_F(NativeHostRegistrationTest, TheFileIsComparedUpToItsFirstZeroByte) {
    RegisterNativeHost(kChromeRoot, kHost);
    const std::vector<uint8_t> manifest = *platform->SimFiles->FileContent(kManifestPath);
    std::vector<uint8_t> withTail = manifest;
    withTail.insert(withTail.end(), {0, 'x'});
    const struct {
        std::vector<uint8_t> content;
        bool rewritten;
    } cases[] = {{{manifest.begin(), manifest.end() - 1}, true}, {{}, true}, {withTail, false}};
    for (const auto& c : cases) {
        const int writes = Writes();
        platform->SimFiles->PutFile(kManifestPath, c.content);
        RegisterNativeHost(kChromeRoot, kHost);
        EXPECT_EQ(Writes(), writes + (c.rewritten ? 1 : 0)) << c.content.size() << " bytes";
    }
}

TEST_F(NativeHostRegistrationTest, ALinkKeyIsNotWrittenThrough) {
    const std::wstring target = L"SOFTWARE\\Elsewhere";
    platform->SimRegistry->MakeLink(RegistryRoot::CurrentUser, kChromeRoot + L"\\" + kHost, RegistryRoot::CurrentUser,
                                    target);
    platform->SimRegistry->SetString(RegistryRoot::CurrentUser, target, L"", L"kept");
    RegisterNativeHost(kChromeRoot, kHost);
    EXPECT_EQ(Writes(), 0);
    EXPECT_FALSE(platform->SimFiles->FileContent(kManifestPath));
    EXPECT_FALSE(platform->SimRegistry->GetValue(RegistryRoot::CurrentUser, kChromeRoot + L"\\" + kHost, L""));
    auto kept = platform->SimRegistry->GetValue(RegistryRoot::CurrentUser, target, L"");
    ASSERT_TRUE(kept);
    EXPECT_EQ(Utf16LeToWide(kept->data.data(), kept->data.size()), std::wstring(L"kept") + L'\0');
}

TEST_F(NativeHostRegistrationTest, WithoutTheTemplateNothingIsTouched) {
    platform->SimResources->Hide(kManifestTemplateResourceId);
    RegisterNativeHost(kChromeRoot, kHost);
    EXPECT_EQ(platform->SimJournal->Entries(), std::vector<std::wstring>{L"Resources::LoadResource 300"});
    EXPECT_FALSE(platform->SimRegistry->KeyExists(RegistryRoot::CurrentUser, kChromeRoot + L"\\" + kHost));
    EXPECT_FALSE(platform->SimFiles->FolderExists(L"C:\\Users\\Sim\\AppData\\Local\\Quorvane"));
}

TEST_F(NativeHostRegistrationTest, AManifestThatCannotBeWrittenLeavesTheValueAsItWas) {
    platform->SimRegistry->SetString(RegistryRoot::CurrentUser, kChromeRoot + L"\\" + kHost, L"", L"C:\\old.json");
    platform->SimFiles->FailWrites(kManifestPath, ERROR_ACCESS_DENIED);
    RegisterNativeHost(kChromeRoot, kHost);
    EXPECT_EQ(DefaultValue(kChromeRoot), L"C:\\old.json");
}

}  // namespace
}  // namespace qv
