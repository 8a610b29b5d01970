// Sessions of a real sound server with real clients: players and
// recorders, their processes, and the session events as a stream corks,
// changes, moves and ends.
#include <signal.h>

#include <sstream>

#include "core/text.h"
#include "platform/linux/linux_processes.h"
#include "pulse_server_fixture.h"
#include "support/callback_recorders.h"
#include "test_child.h"

namespace qv::test {
namespace {

using namespace std::chrono_literals;

class PulseServerSessionsTest : public PulseServerFixture {
protected:
    // The corking player on the sink, once its stream is there.
    std::unique_ptr<TestChild> StartPlayer(const std::string& sink, bool corked,
                                           const std::vector<std::string>& environment = {}) {
        std::vector<std::string> argv{QV_TEST_CORKING_PLAYER, sink};
        if (corked) argv.push_back("--corked");
        auto player = std::make_unique<TestChild>(argv, environment);
        auto ready = player->ReadLine();
        EXPECT_TRUE(ready && ready->rfind("ready ", 0) == 0) << ready.value_or("(nothing)");
        return player;
    }
    static bool Command(TestChild& player, const std::string& command) {
        return player.WriteLine(command) && player.ReadLine().value_or("") == "ok";
    }
    static std::wstring ImageOf(uint32_t pid) {
        auto processes = MakeRef<CLinuxProcesses>();
        CRefPtr<IProcessHandle> process;
        std::wstring image;
        if (processes->OpenProcess(kProcessSynchronizeQueryInformation, pid, process) == 0)
            process->GetModuleFileNameEx(image);
        return image;
    }
};

std::wstring StateCall(AudioSessionState state) { return L"state " + std::to_wstring(state); }

// The numbers of the first call that begins with the word, in order.
std::vector<float> NumbersOfFirst(const std::vector<std::wstring>& calls, const std::wstring& word) {
    std::vector<float> numbers;
    for (const auto& call : calls) {
        if (!call.starts_with(word + L" ")) continue;
        std::wistringstream in(call.substr(word.size()));
        for (std::wstring part; in >> part;)
            if (part != L"changed" && part != L"muted") numbers.push_back(std::stof(part));
        break;
    }
    return numbers;
}

TEST_F(PulseServerSessionsTest, PlaybackStreamIsASessionOfItsSinkWithItsProcess) {
    TestChild pacat({"pacat", "--playback", "-d", "spk", "/dev/zero"});
    CRefPtr<IMMDevice> spk = Device(L"spk");
    CRefPtr<IAudioSessionControl2> session = WaitForSessionOf(spk.get(), static_cast<uint32_t>(pacat.Pid()));
    ASSERT_TRUE(session) << "no session of pacat on spk";
    EXPECT_TRUE(SessionsOf(Device(L"other").get()).empty());

    const std::wstring image = ImageOf(ProcessOf(session.get()));
    EXPECT_TRUE(image.size() > 6 && image.substr(image.size() - 6) == L"/pacat") << WideToUtf8(image);
    EXPECT_TRUE(WaitForState(session.get(), AudioSessionStateActive));
    std::wstring name, icon, id, instance;
    EXPECT_EQ(session->GetDisplayName(name), S_OK);
    EXPECT_FALSE(name.empty());
    EXPECT_EQ(session->GetIconPath(icon), S_OK);
    EXPECT_EQ(session->IsSystemSoundsSession(), S_FALSE);
    ASSERT_EQ(session->GetSessionIdentifier(id), S_OK);
    ASSERT_EQ(session->GetSessionInstanceIdentifier(instance), S_OK);
    EXPECT_EQ(id, L"spk|pid:" + std::to_wstring(pacat.Pid()));
    EXPECT_EQ(instance.rfind(id + L"|sink-input:", 0), 0u) << WideToUtf8(instance);
    GUID grouping{};
    EXPECT_EQ(session->GetGroupingParam(grouping), S_OK);
    EXPECT_NE(grouping, GUID{}) << "a stream with a client groups by it";

    pacat.Kill(SIGKILL);
    pacat.Wait();
    EXPECT_TRUE(WaitForState(session.get(), AudioSessionStateExpired));
    std::wstring after;
    EXPECT_EQ(session->GetSessionInstanceIdentifier(after), S_OK);
    EXPECT_EQ(after, instance) << "the identity outlives the process";
}

TEST_F(PulseServerSessionsTest, RecordingStreamIsASessionOfTheCaptureEndpoint) {
    TestChild recorder({"pacat", "--record", "-d", "mic", "/dev/null"});
    CRefPtr<IAudioSessionControl2> session =
        WaitForSessionOf(Device(L"mic").get(), static_cast<uint32_t>(recorder.Pid()));
    ASSERT_TRUE(session) << "no session of the recorder on mic";
    std::wstring instance;
    ASSERT_EQ(session->GetSessionInstanceIdentifier(instance), S_OK);
    EXPECT_NE(instance.find(L"|source-output:"), std::wstring::npos) << WideToUtf8(instance);
    // A recording stream may show corked until its source has woken up.
    EXPECT_TRUE(WaitForState(session.get(), AudioSessionStateActive));
}

TEST_F(PulseServerSessionsTest, NewStreamIsAnnouncedAndItsEventsFollowItToTheEnd) {
    CRefPtr<IMMDevice> spk = Device(L"spk");
    CRefPtr<IAudioSessionManager2> manager = Manager(spk.get());
    auto notification = MakeRef<FakeSessionNotification>();
    ASSERT_EQ(RegisterForTheTest(manager.get(), notification.get()), S_OK);

    auto player = StartPlayer("spk", true);
    ASSERT_TRUE(notification->Log.WaitFor([](const auto& created) { return !created.empty(); }));
    EXPECT_NE(notification->Log.Threads().front(), std::this_thread::get_id());
    CRefPtr<IAudioSessionControl2> session;
    ASSERT_EQ(notification->Sessions().front()->QueryInterface(session), S_OK);
    EXPECT_EQ(ProcessOf(session.get()), static_cast<uint32_t>(player->Pid()));
    EXPECT_EQ(StateOf(session.get()), AudioSessionStateInactive) << "started corked";

    auto events = MakeRef<FakeSessionEvents>();
    ASSERT_EQ(RegisterForTheTest(session.get(), events.get()), S_OK);
    ASSERT_TRUE(Command(*player, "uncork"));
    ASSERT_TRUE(events->Log.WaitForCall(StateCall(AudioSessionStateActive)));
    EXPECT_EQ(StateOf(session.get()), AudioSessionStateActive);
    EXPECT_NE(events->Log.Threads().front(), std::this_thread::get_id());
    ASSERT_TRUE(Command(*player, "cork"));
    ASSERT_TRUE(events->Log.WaitForCall(StateCall(AudioSessionStateInactive)));

    ASSERT_TRUE(Command(*player, "name Renamed Player"));
    ASSERT_TRUE(events->Log.WaitForCall(L"name Renamed Player"));
    std::wstring name;
    EXPECT_EQ(session->GetDisplayName(name), S_OK);
    EXPECT_EQ(name, L"Renamed Player");

    std::string instance;
    {
        std::wstring wide;
        session->GetSessionInstanceIdentifier(wide);
        instance = WideToUtf8(wide.substr(wide.rfind(L':') + 1));
    }
    ASSERT_TRUE(SoundServer::Pactl({"set-sink-input-volume", instance, "50%", "100%"}));
    ASSERT_TRUE(events->Log.WaitFor([](const auto& calls) { return !NumbersOfFirst(calls, L"channels").empty(); }));
    const auto volume = NumbersOfFirst(events->Log.Calls(), L"volume");
    ASSERT_EQ(volume.size(), 1u);
    EXPECT_NEAR(volume[0], 0.75f, 0.01f) << "the average of the channels";
    const auto channels = NumbersOfFirst(events->Log.Calls(), L"channels");
    ASSERT_EQ(channels.size(), 3u) << "two volumes and the changed channel";
    EXPECT_NEAR(channels[0], 0.5f, 0.01f);
    EXPECT_EQ(channels[2], 0.0f);
    ASSERT_TRUE(SoundServer::Pactl({"set-sink-input-mute", instance, "1"}));
    ASSERT_TRUE(events->Log.WaitFor([](const auto& calls) {
        return std::any_of(calls.begin(), calls.end(), [](const auto& c) { return c.ends_with(L" muted"); });
    }));

    player->CloseInput();
    ASSERT_TRUE(events->Log.WaitForCall(StateCall(AudioSessionStateExpired)));
    EXPECT_EQ(StateOf(session.get()), AudioSessionStateExpired);
    EXPECT_EQ(session->UnregisterAudioSessionNotification(events.get()), S_OK);
    EXPECT_EQ(session->UnregisterAudioSessionNotification(events.get()), E_NOTFOUND);
    EXPECT_EQ(manager->UnregisterSessionNotification(notification.get()), S_OK);
    EXPECT_EQ(notification->Sessions().size(), 1u) << "one stream, one creation";
}

// What the client says of itself: a role of events makes the system sounds
// session, its icon is the session's, and a process id that no process has
// reads as zero (the client may claim any id; only a live one counts).
TEST_F(PulseServerSessionsTest, ClientPropertiesShapeTheSession) {
    auto player = StartPlayer(
        "spk", false, {"PULSE_PROP=media.role=event application.icon_name=bell application.process.id=2147483000"});
    CRefPtr<IMMDevice> spk = Device(L"spk");
    CRefPtr<IAudioSessionControl2> session = WaitForResult([&]() -> CRefPtr<IAudioSessionControl2> {
        for (auto& found : SessionsOf(spk.get())) {
            std::wstring name;
            found->GetDisplayName(name);
            if (name == L"qv corking player") return found;
        }
        return nullptr;
    });
    ASSERT_TRUE(session);
    EXPECT_EQ(ProcessOf(session.get()), 0u);
    EXPECT_EQ(session->IsSystemSoundsSession(), S_OK);
    std::wstring icon;
    EXPECT_EQ(session->GetIconPath(icon), S_OK);
    EXPECT_EQ(icon, L"bell");
}

}  // namespace
}  // namespace qv::test
