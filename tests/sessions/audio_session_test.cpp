// One session's ladder on the simulated machine: the state it reads, the
// process behind it and the browser above that, what it keeps and loses
// when it stops playing, and the reset of a device that went away under it.
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "support/model_fixture.h"
#include "support/observable_watchers.h"

namespace qv::test {
namespace {

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
        const std::tuple<uint32_t, const wchar_t*, uint32_t> processes[] = {
            {kExplorer, L"C:\\Windows\\explorer.exe", 0},
            {kChrome, L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe", kExplorer},
            {kChromeAudio, L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe", kChrome},
            {kFirefox, L"C:\\Program Files\\Mozilla Firefox\\firefox.exe", kExplorer},
            {kFirefoxTab, L"C:\\Program Files\\Mozilla Firefox\\firefox.exe", kFirefox},
            {kFirefoxHelper, L"C:\\Program Files\\Mozilla Firefox\\plugin-container.exe", kFirefox},
            {kFirefoxAudio, L"C:\\Program Files\\Mozilla Firefox\\audiohost.exe", kFirefoxHelper},
            {kPlayer, L"D:\\Tools\\Player.exe", kExplorer}};
        for (const auto& [pid, path, parent] : processes) ASSERT_TRUE(Processes().StartProcess(pid, path, parent));
    }
    // A session of the process, already there when the manager looks.
    std::wstring AddSession(uint32_t processId) {
        return Audio().AddSession(kSpeakers,
                                  {.processId = processId, .state = AudioSessionStateActive, .announce = false});
    }
    // The manager of the speakers' sessions, once all it posted has run.
    void Watch() {
        manager = WatchSessions(speakers);
        Settle();
    }
    CRefPtr<CAudioSession> Session(const std::wstring& id) { return FindSession(manager->audioSessions, id); }

    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CAudioDevice> speakers;
    CRefPtr<CAudioSessionManager> manager;
};

TEST_F(AudioSessionTest, TheAncestorWalkFindsTheNearestBrowserAboveWithinTheEnumeration) {
    std::wstring chromeChild = AddSession(kChromeAudio);
    std::wstring firefoxChild = AddSession(kFirefoxTab);
    std::wstring firefoxGrandchild = AddSession(kFirefoxAudio);
    std::wstring chromeItself = AddSession(kChrome);
    std::wstring player = AddSession(kPlayer);
    std::wstring system = AddSession(0);
    // Nothing is dispatched: all of what follows comes from setting the device.
    manager = WatchSessions(speakers);

    // Chrome's audio child belongs to the browser by its own name.
    CRefPtr<CAudioSession> session = Session(chromeChild);
    EXPECT_EQ(session->State.value(), AudioSessionStateActive);
    EXPECT_EQ(session->SourceProcessID.value(), kChromeAudio);
    ASSERT_TRUE(session->ProcessInfo.value());
    EXPECT_EQ(session->ProcessInfo.value()->ProcessId(), kChromeAudio);
    EXPECT_TRUE(session->BelongsToBrowser.value());
    ASSERT_TRUE(session->WebBrowserProcessInfo.value());
    EXPECT_EQ(session->WebBrowserProcessInfo.value()->ProcessId(), kChrome);
    EXPECT_EQ(session->LastWebBrowserProcessId, kChrome);

    // Firefox is a browser for the walk, never by name, and the walk goes on
    // past a parent that is no browser.
    for (const std::wstring& id : {firefoxChild, firefoxGrandchild}) {
        session = Session(id);
        EXPECT_FALSE(session->BelongsToBrowser.value());
        ASSERT_TRUE(session->WebBrowserProcessInfo.value());
        EXPECT_EQ(session->WebBrowserProcessInfo.value()->ProcessId(), kFirefox);
        EXPECT_EQ(session->WebBrowserProcessInfo.value()->ImageName, L"firefox");
    }

    // The walk starts at the parent: a browser playing itself has none above.
    session = Session(chromeItself);
    EXPECT_TRUE(session->BelongsToBrowser.value());
    EXPECT_FALSE(session->WebBrowserProcessInfo.value());

    session = Session(player);
    EXPECT_FALSE(session->BelongsToBrowser.value());
    EXPECT_FALSE(session->WebBrowserProcessInfo.value());

    // The system's own session has no process, and nothing is looked up for it.
    session = Session(system);
    EXPECT_FALSE(session->ProcessInfo.value());
    EXPECT_FALSE(session->WebBrowserProcessInfo.value());
    EXPECT_EQ(Processes().CallCount(L"OpenProcess", L"0"), 0u);

    EXPECT_EQ(manager->activeAudioSessions.size(), 6u);
    EXPECT_EQ(manager->webBrowserAudioSessions.size(), 3u);
    for (const std::wstring& id : {chromeChild, firefoxChild, firefoxGrandchild})
        EXPECT_TRUE(manager->webBrowserAudioSessions.Contains(Session(id)));

    // The same state read again: no change, no lookup.
    const uint64_t opens = Processes().CallCount(L"OpenProcess", std::to_wstring(kPlayer));
    ASSERT_TRUE(Audio().SetSessionState(player, AudioSessionStateActive));
    Settle();
    EXPECT_EQ(Processes().CallCount(L"OpenProcess", std::to_wstring(kPlayer)), opens);
}

TEST_F(AudioSessionTest, AnAncestorThatCannotBeOpenedEndsTheWalk) {
    Processes().Fail(L"OpenProcess", ERROR_ACCESS_DENIED, std::to_wstring(kFirefoxHelper));
    std::wstring id = AddSession(kFirefoxAudio);
    Watch();
    CRefPtr<CAudioSession> session = Session(id);
    ASSERT_TRUE(session->ProcessInfo.value());
    EXPECT_FALSE(session->WebBrowserProcessInfo.value());
    // The walk did not go on above it: the browser at the top was never opened.
    EXPECT_EQ(Processes().CallCount(L"OpenProcess", std::to_wstring(kFirefox)), 0u);
    EXPECT_TRUE(h.Traced(L"Failed to retrieve process handle with error code 5\n"));
}

TEST_F(AudioSessionTest, ASessionThatStopsLosesItsProcessButKeepsWhatTheFileToldAndAStaleExitChangesNothing) {
    std::wstring id = AddSession(kChromeAudio);
    Watch();
    CRefPtr<CAudioSession> session = Session(id);
    CRefPtr<CProcessInfo> process = session->ProcessInfo.value();
    CRefPtr<CProcessInfo> browser = session->WebBrowserProcessInfo.value();
    const GUID firstRequest = session->ProcessInfoRequestId;
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
    ASSERT_NE(session->ProcessInfoRequestId, firstRequest);

    // A cached process brings no second exit watch: only the first lookup's
    // callback runs, with its stale cookie, and leaves the process info.
    const std::size_t cached = CProcessInfo::CacheSize();
    ASSERT_TRUE(Processes().ExitProcess(kChromeAudio));
    // The wait thread posts the stale action before it empties the cache.
    ASSERT_TRUE(h.RunUntil([&] { return CProcessInfo::CacheSize() == cached - 1; }));
    Settle();
    EXPECT_EQ(session->ProcessInfo.value(), process);
}

TEST_F(AudioSessionTest, TheProcessEndingTakesTheProcessInfo) {
    std::wstring id = AddSession(kPlayer);
    Watch();
    CRefPtr<CAudioSession> session = Session(id);
    ASSERT_TRUE(session->ProcessInfo.value());
    PropertyWatcher processInfo(session->ProcessInfo);

    ASSERT_TRUE(Processes().ExitProcess(kPlayer));
    ASSERT_TRUE(h.RunUntil([&] { return !session->ProcessInfo.value(); }));
    EXPECT_EQ(processInfo.values.size(), 1u);
    // Still active: only the platform's state event would take it out.
    EXPECT_TRUE(manager->activeAudioSessions.Contains(session));
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
