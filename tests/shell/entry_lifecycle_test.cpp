// The start and the tear-down in their order, the single instance and the
// starter's exit token, told by what the simulated machine recorded.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/sim/sim_platform.h"
#include "shell/entry.h"
#include "shell/named_mutex.h"

namespace qv {
namespace {

const std::wstring kInstance = kInstanceMutexName;
const std::wstring kToken = L"{0E71A5C0-5A1E-4C3B-9A7D-6A1B2C3D4E5F}";
const std::wstring kChromeKey = L"SOFTWARE\\Google\\Chrome\\NativeMessagingHosts\\com.quorvane.contentclassifier";
const std::wstring kEdgeKey = L"SOFTWARE\\Microsoft\\Edge\\NativeMessagingHosts\\com.quorvane.contentclassifier";
const std::wstring kManifestFile =
    L"C:\\Users\\Sim\\AppData\\Local\\Quorvane\\NativeMessaging\\com.quorvane.contentclassifier.json";

class EntryLifecycleTest : public testing::Test {
protected:
    void SetUp() override { SetPlatform(platform); }
    void TearDown() override { SetPlatform(nullptr); }

    int Run(std::vector<std::string> arguments, EntryHooks hooks = {}) {
        arguments.insert(arguments.begin(), "ContentClassifier.exe");
        return RunContentClassifier(arguments, hooks);
    }
    static EntryHooks QuitAtOnce() {
        EntryHooks hooks;
        hooks.loopReady = [](const CRefPtr<IMessageLoop>& loop) { loop->PostThreadMessage(kQuitMessage, 0, 0); };
        return hooks;
    }
    std::vector<std::wstring> Journal() const { return platform->SimJournal->Entries(); }

    // The start, in its order, up to the opening of the exit token, followed
    // by what comes after.
    static std::vector<std::wstring> StartUpTo(const std::wstring& token, const std::vector<std::wstring>& then) {
        std::vector<std::wstring> entries{
            L"Sync::OpenMutex " + kInstance,
            L"Sync::CreateMutex " + kInstance,
            L"System::CoInitializeEx",
            L"System::LookUpNtdllFunctions",
            L"System::MFStartup",
            // The allowed add-ons, then the host's registration for each
            // browser (a first start: nothing is there yet).
            L"Resources::LoadResource 300",
            L"Resources::LoadResource 300",
            L"Registry::RegCreateKeyEx " + kChromeKey,
            L"Files::WriteWholeFile " + kManifestFile,
            L"Registry::RegSetValueEx",
            L"Resources::LoadResource 300",
            L"Registry::RegCreateKeyEx " + kEdgeKey,
            L"Files::WriteWholeFile " + kManifestFile,
            L"Registry::RegSetValueEx",
            L"System::CoInitializeEx",
            L"Audio::RegisterEndpointNotificationCallback",
            L"Sync::OpenMutex " + token,
        };
        entries.insert(entries.end(), then.begin(), then.end());
        return entries;
    }

    CRefPtr<CSimPlatform> platform = MakeRef<CSimPlatform>();
};

TEST_F(EntryLifecycleTest, StartsAndStopsInOrderWhenTheStarterReleasesItsToken) {
    ASSERT_TRUE(platform->SimSync->CreateExternalMutex(kToken, true));
    EntryHooks hooks;
    // The starter lets go once the loop is about to turn; nothing else ends
    // the run.
    hooks.loopReady = [&](const CRefPtr<IMessageLoop>&) { platform->SimSync->ReleaseExternalMutex(kToken); };

    EXPECT_EQ(Run({"/exit-mutex-guid=" + WideToUtf8(kToken)}, hooks), 0);
    const std::vector<std::wstring> expected =
        StartUpTo(kToken, {
                              L"Sync::CreateEvent",
                              // The tear-down: the watcher is stopped (its reference kept the
                              // token's handle open for its wait), then COM, then the marker.
                              L"Sync::SetEvent",
                              L"Sync::CloseHandle " + kToken,
                              L"System::CoUninitialize",
                              L"Sync::CloseHandle " + kInstance,
                          });
    EXPECT_EQ(Journal(), expected);
    EXPECT_FALSE(platform->SimSync->MutexExists(kInstance)) << "the marker goes with the last handle";
    EXPECT_EQ(AllowedExtensionIds().size(), 5u) << "the template's add-ons are kept for the model";
}

TEST_F(EntryLifecycleTest, ASecondInstanceEndsWithMinusOneBeforeAnythingIsBroughtUpAndAThirdRunsOnceTheFirstHasDied) {
    ASSERT_TRUE(platform->SimSync->CreateExternalMutex(kInstance, false));
    EXPECT_EQ(Run({}, QuitAtOnce()), -1);
    EXPECT_EQ(Journal(),
              (std::vector<std::wstring>{L"Sync::OpenMutex " + kInstance, L"Sync::CloseHandle " + kInstance}));

    ASSERT_TRUE(platform->SimSync->EndExternalProcess(kInstance));
    const std::size_t before = Journal().size();
    EXPECT_EQ(Run({}, QuitAtOnce()), 0);
    const std::vector<std::wstring> after = Journal();
    ASSERT_GT(after.size(), before + 2);
    EXPECT_EQ(after[before + 1], L"Sync::CreateMutex " + kInstance);
    EXPECT_EQ(after[before + 2], L"System::CoInitializeEx");
}

TEST_F(EntryLifecycleTest, ATokenThatCannotBeOpenedEndsWithMinusOneAfterTheGraphWasBuiltAndReleased) {
    EXPECT_EQ(Run({"/exit-mutex-guid=gone"}, QuitAtOnce()), -1);
    // No watcher, and COM and the plug-in are left as they are.
    EXPECT_EQ(Journal(), StartUpTo(L"gone", {L"Sync::CloseHandle " + kInstance}));
}

TEST_F(EntryLifecycleTest, TheRunEndsWhenTheStarterDiesOrNeverHeldTheToken) {
    struct Case {
        const char* what;
        bool held;
        bool dies;  // otherwise it just keeps its handle
    };
    for (const Case& c :
         {Case{"a starter that dies holding the token", true, true}, Case{"a token that nobody holds", false, false}}) {
        SCOPED_TRACE(c.what);
        ASSERT_TRUE(platform->SimSync->CreateExternalMutex(kToken, c.held));
        EntryHooks hooks;
        hooks.loopReady = [&](const CRefPtr<IMessageLoop>&) {
            if (c.dies) platform->SimSync->EndExternalProcess(kToken);
        };
        EXPECT_EQ(Run({"/exit-mutex-guid=" + WideToUtf8(kToken)}, hooks), 0);
        if (!c.dies) platform->SimSync->EndExternalProcess(kToken);
        EXPECT_FALSE(platform->SimSync->MutexExists(kToken));
    }
}

TEST_F(EntryLifecycleTest, WithoutATokenThereIsNeitherEventNorWatcherAndAnEmptyNameCountsAsNone) {
    for (const char* argument : {"/other=1", "/exit-mutex-guid="}) {
        EXPECT_EQ(Run({argument}, QuitAtOnce()), 0);
    }
    for (const std::wstring& entry : Journal()) {
        EXPECT_NE(entry, L"Sync::CreateEvent");
        EXPECT_NE(entry, L"Sync::SetEvent");
    }
}

TEST_F(EntryLifecycleTest, AFailingApartmentForTheStoreInterfacesEndsTheProcess) {
    platform->SimSystem->CoInitializeExResult = static_cast<HRESULT>(0x8001010E);
    EXPECT_ANY_THROW(Run({}, QuitAtOnce()));
}

}  // namespace
}  // namespace qv
