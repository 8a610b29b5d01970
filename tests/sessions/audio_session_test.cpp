// One session's ladder on the simulated machine: the state it reads, the
// process behind it and the browser above that, what it keeps and loses
// when it stops playing, and the reset of a device that went away under it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "support/model_fixture.h"
#include "support/observable_watchers.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";

constexpr uint32_t kExplorer = 500;
constexpr uint32_t kChrome = 1000;
constexpr uint32_t kChromeAudio = 1200;
constexpr uint32_t kFirefox = 2000;
constexpr uint32_t kFirefoxHelper = 2100;
constexpr uint32_t kFirefoxAudio = 2150;
constexpr uint32_t kFirefoxTab = 2200;
constexpr uint32_t kPlayer = 3000;

class AudioSessionTest : public ModelTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
        devices = StartDeviceManager({kSpeakers});
        Settle();
        speakers = FindDevice(*devices, kSpeakers);
        ASSERT_TRUE(Processes().StartProcess(kExplorer, L"C:\\Windows\\explorer.exe"));
        ASSERT_TRUE(Processes().StartProcess(kChrome, L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe",
                                             kExplorer));
        ASSERT_TRUE(Processes().StartProcess(kChromeAudio,
                                             L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe", kChrome));
        ASSERT_TRUE(Processes().StartProcess(kFirefox, L"C:\\Program Files\\Mozilla Firefox\\firefox.exe", kExplorer));
        ASSERT_TRUE(
            Processes().StartProcess(kFirefoxTab, L"C:\\Program Files\\Mozilla Firefox\\firefox.exe", kFirefox));
        ASSERT_TRUE(Processes().StartProcess(kFirefoxHelper,
                                             L"C:\\Program Files\\Mozilla Firefox\\plugin-container.exe", kFirefox));
        ASSERT_TRUE(Processes().StartProcess(kFirefoxAudio, L"C:\\Program Files\\Mozilla Firefox\\audiohost.exe",
                                             kFirefoxHelper));
        ASSERT_TRUE(Processes().StartProcess(kPlayer, L"D:\\Tools\\Player.exe", kExplorer));
    }
    // A session of the process, already there when the manager looks.
    std::wstring AddSession(uint32_t processId, AudioSessionState state = AudioSessionStateActive) {
        return Audio().AddSession(kSpeakers, {.processId = processId, .state = state, .announce = false});
    }
    CRefPtr<CAudioSession> Session(const std::wstring& id) { return FindSession(manager->audioSessions, id); }

    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CAudioDevice> speakers;
    CRefPtr<CAudioSessionManager> manager;
};

TEST_F(AudioSessionTest, ASessionActiveAtEnumerationIsCompleteWithinTheSameCall) {
    std::wstring id = AddSession(kChromeAudio);
    manager = WatchSessions(speakers);
    // Nothing dispatched yet: all of this came from setting the device.
    CRefPtr<CAudioSession> session = Session(id);
    ASSERT_TRUE(session);
    EXPECT_EQ(session->State.value(), AudioSessionStateActive);
    EXPECT_EQ(session->SourceProcessID.value(), kChromeAudio);
    ASSERT_TRUE(session->ProcessInfo.value());
    EXPECT_EQ(session->ProcessInfo.value()->ProcessId(), kChromeAudio);
    EXPECT_TRUE(session->BelongsToBrowser.value());
    EXPECT_TRUE(manager->activeAudioSessions.Contains(session));
    EXPECT_TRUE(manager->webBrowserAudioSessions.Contains(session));
}

TEST_F(AudioSessionTest, TheSystemsOwnSessionHasNoProcess) {
    const uint64_t snapshots = Processes().CallCount(L"CreateToolhelp32Snapshot");
    const uint64_t opens = Processes().CallCount(L"OpenProcess");
    std::wstring id = AddSession(0);
    manager = WatchSessions(speakers);
    Settle();
    CRefPtr<CAudioSession> session = Session(id);
    EXPECT_EQ(session->State.value(), AudioSessionStateActive);
    EXPECT_FALSE(session->ProcessInfo.value());
    EXPECT_FALSE(session->WebBrowserProcessInfo.value());
    EXPECT_EQ(Processes().CallCount(L"CreateToolhelp32Snapshot"), snapshots);
    EXPECT_EQ(Processes().CallCount(L"OpenProcess"), opens);

    // The same read again: no change, no lookup.
    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateActive));
    Settle();
    EXPECT_EQ(Processes().CallCount(L"OpenProcess"), opens);
}

TEST_F(AudioSessionTest, TheAncestorWalkFindsTheNearestBrowserAbove) {
    std::wstring chromeChild = AddSession(kChromeAudio);
    std::wstring firefoxChild = AddSession(kFirefoxTab);
    std::wstring firefoxGrandchild = AddSession(kFirefoxAudio);
    std::wstring chromeItself = AddSession(kChrome);
    std::wstring player = AddSession(kPlayer);
    manager = WatchSessions(speakers);
    Settle();

    // Chrome's audio child belongs to the browser by its own name.
    CRefPtr<CAudioSession> session = Session(chromeChild);
    EXPECT_TRUE(session->BelongsToBrowser.value());
    ASSERT_TRUE(session->WebBrowserProcessInfo.value());
    EXPECT_EQ(session->WebBrowserProcessInfo.value()->ProcessId(), kChrome);
    EXPECT_EQ(session->LastWebBrowserProcessId, kChrome);

    // Firefox is a browser for the walk, never by name.
    session = Session(firefoxChild);
    EXPECT_FALSE(session->BelongsToBrowser.value());
    ASSERT_TRUE(session->WebBrowserProcessInfo.value());
    EXPECT_EQ(session->WebBrowserProcessInfo.value()->ProcessId(), kFirefox);
    EXPECT_EQ(session->WebBrowserProcessInfo.value()->ImageName, L"firefox");

    // The walk goes on past a parent that is no browser.
    session = Session(firefoxGrandchild);
    EXPECT_FALSE(session->BelongsToBrowser.value());
    ASSERT_TRUE(session->WebBrowserProcessInfo.value());
    EXPECT_EQ(session->WebBrowserProcessInfo.value()->ProcessId(), kFirefox);

    // The walk starts at the parent: a browser playing itself has none above.
    session = Session(chromeItself);
    EXPECT_TRUE(session->BelongsToBrowser.value());
    EXPECT_FALSE(session->WebBrowserProcessInfo.value());

    session = Session(player);
    EXPECT_FALSE(session->BelongsToBrowser.value());
    EXPECT_FALSE(session->WebBrowserProcessInfo.value());

    EXPECT_EQ(manager->webBrowserAudioSessions.size(), 3u);
    EXPECT_TRUE(manager->webBrowserAudioSessions.Contains(Session(chromeChild)));
    EXPECT_TRUE(manager->webBrowserAudioSessions.Contains(Session(firefoxChild)));
    EXPECT_TRUE(manager->webBrowserAudioSessions.Contains(Session(firefoxGrandchild)));
}

TEST_F(AudioSessionTest, AnAncestorThatCannotBeOpenedEndsTheWalk) {
    Processes().Fail(L"OpenProcess", ERROR_ACCESS_DENIED, std::to_wstring(kFirefoxHelper));
    std::wstring id = AddSession(kFirefoxAudio);
    manager = WatchSessions(speakers);
    Settle();
    CRefPtr<CAudioSession> session = Session(id);
    ASSERT_TRUE(session->ProcessInfo.value());
    EXPECT_FALSE(session->WebBrowserProcessInfo.value());
    // The walk did not go on above it: the browser at the top was never opened.
    EXPECT_EQ(Processes().CallCount(L"OpenProcess", std::to_wstring(kFirefox)), 0u);
    EXPECT_TRUE(h.Traced(L"Failed to retrieve process handle with error code 5\n"));
}

TEST_F(AudioSessionTest, ASessionThatStopsLosesItsProcessButKeepsWhatTheFileTold) {
    std::wstring id = AddSession(kChromeAudio);
    manager = WatchSessions(speakers);
    Settle();
    CRefPtr<CAudioSession> session = Session(id);
    CRefPtr<CProcessInfo> process = session->ProcessInfo.value();
    CRefPtr<CProcessInfo> browser = session->WebBrowserProcessInfo.value();
    ASSERT_TRUE(process);
    ASSERT_TRUE(browser);
    ASSERT_EQ(process->AudioSessions.size(), 1u);
    auto info = MakeRef<CAudioStreamBasicInfo>(2, 48000, 16, 12.5);
    auto samples = std::make_shared<std::vector<float>>(480, 0.25f);
    session->OpenedMediaFilePath.set(L"c:\\films\\film.mp4");
    session->IsVideo.set(true);
    session->AudioStreamBasicInfo.set(info);
    session->SampleBuffer.set(samples);

    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateInactive));
    Settle();
    EXPECT_FALSE(session->ProcessInfo.value());
    EXPECT_FALSE(session->BelongsToBrowser.value());
    EXPECT_EQ(session->OpenedMediaFilePath.value(), L"");
    EXPECT_TRUE(process->AudioSessions.empty());
    EXPECT_FALSE(manager->activeAudioSessions.Contains(session));
    EXPECT_FALSE(manager->webBrowserAudioSessions.Contains(session));

    EXPECT_EQ(session->WebBrowserProcessInfo.value(), browser);
    EXPECT_TRUE(session->IsVideo.value());
    EXPECT_EQ(session->AudioStreamBasicInfo.value(), info);
    EXPECT_EQ(session->SampleBuffer.value(), samples);

    // Playing again looks the process up afresh: the cache gives the same one.
    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateActive));
    Settle();
    EXPECT_EQ(session->ProcessInfo.value(), process);
    EXPECT_TRUE(session->BelongsToBrowser.value());
    EXPECT_EQ(process->AudioSessions.size(), 1u);
}

TEST_F(AudioSessionTest, TheProcessEndingTakesTheProcessInfo) {
    std::wstring id = AddSession(kPlayer);
    manager = WatchSessions(speakers);
    Settle();
    CRefPtr<CAudioSession> session = Session(id);
    ASSERT_TRUE(session->ProcessInfo.value());
    PropertyWatcher processInfo(session->ProcessInfo);

    ASSERT_TRUE(Processes().ExitProcess(kPlayer));
    ASSERT_TRUE(h.RunUntil([&] { return !session->ProcessInfo.value(); }));
    EXPECT_EQ(processInfo.values.size(), 1u);
    // Still active: only the platform's state event would take it out.
    EXPECT_TRUE(manager->activeAudioSessions.Contains(session));
}

TEST_F(AudioSessionTest, AnExitOfAReplacedLookupLeavesTheProcessInfo) {
    std::wstring id = AddSession(kPlayer);
    manager = WatchSessions(speakers);
    Settle();
    CRefPtr<CAudioSession> session = Session(id);
    const GUID firstRequest = session->ProcessInfoRequestId;

    // A pause and a restart look the process up again. The cache has it, so
    // no second exit watch comes: only the first lookup's callback will run,
    // with the first lookup's cookie.
    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateInactive));
    Settle();
    ASSERT_FALSE(session->ProcessInfo.value());
    ASSERT_TRUE(Audio().SetSessionState(id, AudioSessionStateActive));
    Settle();
    CRefPtr<CProcessInfo> process = session->ProcessInfo.value();
    ASSERT_TRUE(process);
    ASSERT_NE(session->ProcessInfoRequestId, firstRequest);

    const std::size_t cached = CProcessInfo::CacheSize();
    ASSERT_TRUE(Processes().ExitProcess(kPlayer));
    // The wait thread posts the stale action before it empties the cache.
    ASSERT_TRUE(h.RunUntil([&] { return CProcessInfo::CacheSize() == cached - 1; }));
    Settle();
    EXPECT_EQ(session->ProcessInfo.value(), process);
}

// ---- Registration for the session's events

class SessionRegistrationTest : public AudioSessionTest {
protected:
    // How many actions the session posts as it is enumerated with the
    // registration failing with the code.
    std::size_t PostsWhenRegistrationFailsWith(HRESULT code) {
        std::wstring id = AddSession(kPlayer);
        Audio().Fail(L"IAudioSessionControl::RegisterAudioSessionNotification", code, id);
        manager = WatchSessions(speakers);
        return h.RunPending();
    }
};

TEST_F(SessionRegistrationTest, AnotherFailureLeavesTheSessionUnregisteredAndUnread) {
    EXPECT_EQ(PostsWhenRegistrationFailsWith(E_ACCESSDENIED), 0u);
    EXPECT_TRUE(h.Traced(L"Failed to register audio session event callback with error code -2147024891.\n"));
    ASSERT_EQ(manager->audioSessions.size(), 1u);
    CRefPtr<CAudioSession> unread = manager->audioSessions[0];
    EXPECT_FALSE(unread->RegisteredAudioSessionNotification.value());
    EXPECT_EQ(unread->State.value(), AudioSessionStateInactive);
    EXPECT_EQ(unread->SourceProcessID.value(), 0u);
    EXPECT_EQ(unread->InstanceIdentifier.value(), "");
    EXPECT_EQ(unread->DisplayName.value(), L"");
    EXPECT_TRUE(manager->activeAudioSessions.empty());
}

TEST_F(SessionRegistrationTest, AnInvalidatedDevicePostsOneResetThatSparesAnActiveDevice) {
    CRefPtr<IMMDeviceEnumerator> enumerator = speakers->DeviceEnumerator.value();
    PropertyWatcher resets(speakers->DeviceEnumerator);
    EXPECT_EQ(PostsWhenRegistrationFailsWith(AUDCLNT_E_DEVICE_INVALIDATED), 1u);
    // The device is still active, so the reset left it alone.
    EXPECT_THAT(resets.values, IsEmpty());
    EXPECT_EQ(speakers->DeviceEnumerator.value(), enumerator);
    EXPECT_TRUE(speakers->IsActive.value());
}

}  // namespace
}  // namespace qv::test
