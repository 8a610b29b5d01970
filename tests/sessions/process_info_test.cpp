// The shared process objects: the cache by id and creation time, the names,
// the failures of the three queries, the parent, the end of a process, and
// the microphone use that the sessions of one process share across
// endpoints.
#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/codes.h"
#include "sessions/process_info.h"
#include "support/model_fixture.h"
#include "support/observable_watchers.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";
const std::wstring kHeadset = L"{0.0.1.00000000}.{headset-microphone}";
const std::wstring kWebcam = L"{0.0.1.00000000}.{webcam-microphone}";

constexpr uint32_t kCaller = 1300;

struct Message {
    std::wstring text;
    long error;
};

class ProcessInfoTest : public ModelTest {
protected:
    CRefPtr<CProcessInfo> Lookup(uint32_t processId, const CProcessInfo::ExitCallback& onExit = {}) {
        return CProcessInfo::FromProcessId(h.trace, h.dispatcher, h.log, processId, onExit,
                                           [this](const wchar_t* text, long error) {
                                               messages.push_back({text, error});
                                           });
    }
    std::vector<std::wstring> MessageTexts() const {
        std::vector<std::wstring> texts;
        for (const auto& m : messages) texts.push_back(m.text);
        return texts;
    }
    std::vector<Message> messages;
};

// The names are lower case, and only the four browsers are browsers. A Linux
// browser's program answers to its Windows name; every other Linux program,
// and any Windows path, keeps the name it has.
TEST_F(ProcessInfoTest, TheNamesOfAProcessAndWhetherItIsABrowser) {
    struct Case {
        std::wstring path;
        const wchar_t* fileName;
        const wchar_t* name;
        bool browser;
    };
    const Case cases[] = {
        {L"C:\\Program Files\\Mozilla Firefox\\FireFox.EXE", L"firefox.exe", L"firefox", true},
        {L"C:\\b\\chrome.exe", L"chrome.exe", L"chrome", true},
        {L"C:\\b\\msedge.exe", L"msedge.exe", L"msedge", true},
        {L"C:\\b\\opera.exe", L"opera.exe", L"opera", true},
        {L"C:\\b\\chrome_proxy.exe", L"chrome_proxy.exe", L"chrome_proxy", false},
        {L"C:\\b\\msedgewebview2.exe", L"msedgewebview2.exe", L"msedgewebview2", false},
        {L"C:\\b\\brave.exe", L"brave.exe", L"brave", false},
        // Image paths may be up to 1024 characters; only the name and the
        // extension are limited.
        {L"D:\\" + std::wstring(300, L'x') + L"\\Bin\\Zoom.exe", L"zoom.exe", L"zoom", false},
        {L"/usr/lib/chromium/chromium", L"chrome.exe", L"chrome", true},
        {L"/usr/lib/chromium-browser/chromium-browser", L"chrome.exe", L"chrome", true},
        {L"/opt/google/chrome/chrome", L"chrome.exe", L"chrome", true},
        {L"/usr/bin/google-chrome", L"chrome.exe", L"chrome", true},
        {L"/usr/bin/Chromium", L"chrome.exe", L"chrome", true},
        {L"/opt/microsoft/msedge/msedge", L"msedge.exe", L"msedge", true},
        {L"/usr/bin/microsoft-edge", L"msedge.exe", L"msedge", true},
        {L"/usr/bin/microsoft-edge-stable", L"msedge.exe", L"msedge", true},
        {L"/usr/lib/firefox/firefox", L"firefox.exe", L"firefox", true},
        {L"/usr/lib/firefox-esr/firefox-esr", L"firefox.exe", L"firefox", true},
        {L"/usr/lib/x86_64-linux-gnu/opera/opera", L"opera.exe", L"opera", true},
        // Near misses stay themselves.
        {L"/usr/bin/vlc", L"vlc", L"vlc", false},
        {L"/opt/google/chrome/chrome_crashpad_handler", L"chrome_crashpad_handler", L"chrome_crashpad_handler", false},
        {L"/usr/bin/google-chrome-beta", L"google-chrome-beta", L"google-chrome-beta", false},
        {L"/opt/brave.com/brave/brave", L"brave", L"brave", false},
        {L"/usr/lib/chromium/chromium.exe", L"chromium.exe", L"chromium", false},
        // Only a Linux path is a Linux program.
        {L"C:\\b\\chromium", L"chromium", L"chromium", false},
    };
    uint32_t pid = 100;
    for (const Case& c : cases) {
        SCOPED_TRACE(WideToUtf8(c.path));
        ASSERT_TRUE(Processes().StartProcess(++pid, c.path));
        CRefPtr<CProcessInfo> process = Lookup(pid);
        ASSERT_TRUE(process);
        EXPECT_EQ(process->ImageFileName, c.fileName);
        EXPECT_EQ(process->ImageName, c.name);
        EXPECT_EQ(process->IsWebBrowser, c.browser);
        // The path stays the real one, and is reported as the platform gave it.
        EXPECT_EQ(process->ImagePath, ToLowerWide(c.path));
        EXPECT_EQ(messages.back().text, L"Process image fileName = " + c.path);
    }
}

TEST_F(ProcessInfoTest, EachFailedQueryGivesNullAndOneMessage) {
    ASSERT_TRUE(Processes().StartProcess(1200, L"C:\\Apps\\Player.exe"));

    Processes().FailOnce(L"OpenProcess", ERROR_ACCESS_DENIED, L"1200");
    EXPECT_FALSE(Lookup(1200));
    Processes().FailOnce(L"GetProcessTimes", ERROR_ACCESS_DENIED, L"1200");
    EXPECT_FALSE(Lookup(1200));
    Processes().FailOnce(L"GetModuleFileNameEx", ERROR_INVALID_HANDLE, L"1200");
    EXPECT_FALSE(Lookup(1200));
    // No process of that id at all.
    EXPECT_FALSE(Lookup(4444));

    ASSERT_THAT(MessageTexts(), ElementsAre(L"Failed to retrieve process handle with error code 5",
                                            L"Failed to retrieve process times with error code 5",
                                            L"Failed to retrieve process image file path with error code 6",
                                            L"Failed to retrieve process handle with error code 87"));
    EXPECT_EQ(messages[0].error, 5);
    EXPECT_EQ(messages[2].error, 6);
    EXPECT_EQ(CProcessInfo::CacheSize(), 0u);
}

TEST_F(ProcessInfoTest, OneProcessIsOneObjectAndAReusedIdIsAnother) {
    ASSERT_TRUE(Processes().StartProcess(1200, L"C:\\Apps\\Old.exe"));
    CRefPtr<CProcessInfo> first = Lookup(1200);
    EXPECT_EQ(Lookup(1200), first);
    EXPECT_EQ(CProcessInfo::CacheSize(), 1u);

    // Watched by nobody, the old one stays in the cache after its end.
    ASSERT_TRUE(Processes().ExitProcess(1200));
    Clock().AdvanceClock(10'000'000);
    ASSERT_TRUE(Processes().StartProcess(1200, L"C:\\Apps\\New.exe"));
    CRefPtr<CProcessInfo> second = Lookup(1200);
    ASSERT_TRUE(second);
    EXPECT_NE(second, first);
    EXPECT_EQ(second->ImageName, L"new");
    EXPECT_EQ(first->ImageName, L"old");
    EXPECT_EQ(CProcessInfo::CacheSize(), 2u);
}

TEST_F(ProcessInfoTest, TheParentIsFoundOnlyWhileTheProcessRuns) {
    ASSERT_TRUE(Processes().StartProcess(1000, L"C:\\Apps\\Parent.exe"));
    ASSERT_TRUE(Processes().StartProcess(1200, L"C:\\Apps\\Child.exe", 1000));
    EXPECT_EQ(CProcessInfo::GetParentProcessId(1200), 1000u);
    EXPECT_EQ(CProcessInfo::GetParentProcessId(1000), 0u);

    Processes().FailOnce(L"CreateToolhelp32Snapshot", ERROR_ACCESS_DENIED);
    EXPECT_EQ(CProcessInfo::GetParentProcessId(1200), 0u);

    ASSERT_TRUE(Processes().ExitProcess(1200));
    EXPECT_EQ(CProcessInfo::GetParentProcessId(1200), 0u);
}

TEST_F(ProcessInfoTest, TheEndOfAProcessIsToldOnceOnTheWaitThread) {
    ASSERT_TRUE(Processes().StartProcess(1200, L"C:\\Apps\\Player.exe"));
    // A failed watch loses only the exit callback: that process stays cached.
    ASSERT_TRUE(Processes().StartProcess(1300, L"C:\\Apps\\Unwatched.exe"));
    Processes().FailOnce(L"WaitForProcessExit", ERROR_NOT_SUPPORTED);
    std::atomic<int> unwatchedCalls{0};
    CRefPtr<CProcessInfo> unwatched = Lookup(1300, [&](CProcessInfo*) { ++unwatchedCalls; });
    ASSERT_TRUE(unwatched);
    ASSERT_TRUE(Processes().ExitProcess(1300));

    std::atomic<int> calls{0};
    std::atomic<CProcessInfo*> told{nullptr};
    std::thread::id thread;
    std::atomic<int> laterCalls{0};
    CRefPtr<CProcessInfo> process = Lookup(1200, [&](CProcessInfo* p) {
        thread = std::this_thread::get_id();
        told = p;
        ++calls;
    });
    ASSERT_TRUE(process);
    // A later lookup of the same process sets no second watch.
    EXPECT_EQ(Lookup(1200, [&](CProcessInfo*) { ++laterCalls; }), process);

    ASSERT_TRUE(Processes().ExitProcess(1200));
    ASSERT_TRUE(h.RunUntil([&] { return calls == 1 && CProcessInfo::CacheSize() == 1; }));
    EXPECT_EQ(told.load(), process.get());
    EXPECT_NE(thread, std::this_thread::get_id());
    h.RunFor(std::chrono::milliseconds(50));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(laterCalls, 0);
    EXPECT_EQ(unwatchedCalls, 0);

    messages.clear();
    EXPECT_FALSE(Lookup(1200));
    EXPECT_THAT(MessageTexts(), ElementsAre(L"Failed to retrieve process handle with error code 87"));
}

// ---- Microphone use, across endpoints

class MicrophoneUseTest : public ModelTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
        ASSERT_TRUE(Audio().AddEndpoint(kHeadset, eCapture));
        ASSERT_TRUE(Audio().AddEndpoint(kWebcam, eCapture));
        ASSERT_TRUE(Processes().StartProcess(kCaller, L"C:\\Users\\me\\AppData\\Roaming\\Zoom\\bin\\Zoom.exe"));
        devices = StartDeviceManager({kSpeakers});
        Settle();
        speakers = WatchSessions(FindDevice(*devices, kSpeakers));
        headset = WatchSessions(FindDevice(*devices, kHeadset));
        webcam = WatchSessions(FindDevice(*devices, kWebcam));
    }
    std::wstring Start(const std::wstring& endpoint) {
        std::wstring id = Audio().AddSession(endpoint, {.processId = kCaller, .state = AudioSessionStateActive});
        Settle();
        return id;
    }
    void SetState(const std::wstring& id, AudioSessionState state) {
        ASSERT_TRUE(Audio().SetSessionState(id, state));
        Settle();
    }

    CRefPtr<CAudioDeviceManager> devices;
    CRefPtr<CAudioSessionManager> speakers;
    CRefPtr<CAudioSessionManager> headset;
    CRefPtr<CAudioSessionManager> webcam;
};

TEST_F(MicrophoneUseTest, TheLastCaptureEventDecidesForEverySessionOfTheProcess) {
    std::wstring output = Start(kSpeakers);
    CRefPtr<CProcessInfo> process = FindSession(speakers->audioSessions, output)->ProcessInfo.value();
    ASSERT_TRUE(process);
    PropertyWatcher usingMic(process->IsUsingMic);

    std::wstring headsetInput = Start(kHeadset);
    EXPECT_EQ(FindSession(headset->audioSessions, headsetInput)->ProcessInfo.value(), process);
    EXPECT_TRUE(process->IsUsingMic.value());

    std::wstring webcamInput = Start(kWebcam);
    EXPECT_TRUE(process->IsUsingMic.value());
    EXPECT_EQ(process->AudioSessions.size(), 3u);

    // No count: one capture session stopping turns it off while the other
    // still records, until the next activation.
    SetState(webcamInput, AudioSessionStateInactive);
    EXPECT_FALSE(process->IsUsingMic.value());
    EXPECT_TRUE(FindSession(headset->activeAudioSessions, headsetInput));
    SetState(headsetInput, AudioSessionStateInactive);
    SetState(headsetInput, AudioSessionStateActive);
    EXPECT_TRUE(process->IsUsingMic.value());
    EXPECT_THAT(usingMic.values, ElementsAre(true, false, true));

    // A render session coming and going changes nothing of it.
    SetState(output, AudioSessionStateInactive);
    SetState(output, AudioSessionStateActive);
    EXPECT_THAT(usingMic.values, ElementsAre(true, false, true));
}

}  // namespace
}  // namespace qv::test
