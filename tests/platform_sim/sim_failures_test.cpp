// Failure injection: a chosen call fails with a chosen code, for all
// objects or one, once or until cleared, and the calls are counted.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "platform/codes.h"
#include "platform/sim/sim_platform.h"
#include "support/test_doubles.h"

namespace qv::test {
namespace {

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";

TEST(SimFailures, ATargetedRuleLeavesTheOthersAloneCountsDownAndTheLatestMatchingRuleWins) {
    CSimFailures failures({L"Op"});
    failures.Fail(L"Op", 5, L"a", 1);
    EXPECT_FALSE(failures.Enter(L"Op", {L"b"}));
    EXPECT_EQ(failures.Enter(L"Op", {L"a"}), 5u);
    EXPECT_FALSE(failures.Enter(L"Op", {L"a"}));
    EXPECT_EQ(failures.CallCount(L"Op"), 3u);
    EXPECT_EQ(failures.CallCount(L"Op", L"a"), 2u);

    failures.Fail(L"Op", 1);
    failures.Fail(L"Op", 2, L"a", 2);
    EXPECT_EQ(failures.Enter(L"Op", {L"a"}), 2u);
    EXPECT_EQ(failures.Enter(L"Op", {L"b"}), 1u);
    EXPECT_EQ(failures.Enter(L"Op", {L"a"}), 2u);
    EXPECT_EQ(failures.Enter(L"Op", {L"a"}), 1u);  // the targeted rule is used up
    failures.Fail(L"Op", 3, L"a");
    failures.Clear(L"Op", L"a");
    EXPECT_EQ(failures.Enter(L"Op", {L"a"}), 1u);  // only the targeted rule went
    failures.Clear(L"Op");
    EXPECT_FALSE(failures.Enter(L"Op", {L"a"}));
}

TEST(SimFailures, AnOperationTheMachineDoesNotHaveIsRefused) {
    CSimFailures failures({L"IMMDevice::GetState"});
    EXPECT_THROW(failures.Fail(L"IMMDevice::GetStat", 1), std::invalid_argument);
    EXPECT_THROW(failures.CallCount(L"GetState"), std::invalid_argument);
}

class SimAudioFailures : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender));
        ASSERT_EQ(audio->GetDevice(kSpeakers, speakers), S_OK);
    }
    CRefPtr<CSimPlatform> sim = MakeRef<CSimPlatform>();
    CRefPtr<CSimAudio> audio = sim->SimAudio;
    CRefPtr<IMMDevice> speakers;
    CRefPtr<IAudioSessionManager2> speakersManager;
};

// Each call fails once with the code injected for it, then works again; a
// session's call is hit on that session or on every session of its endpoint.
// A failed registration registers nothing. (The calls that the model's tests
// make fail are left to them.)
TEST_F(SimAudioFailures, EachCallFailsOnceWithTheInjectedCodeOnItsTarget) {
    ASSERT_TRUE(audio->SetDefaultEndpoint(eRender, eMultimedia, kSpeakers));
    ASSERT_EQ(speakers->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, speakersManager), S_OK);
    const std::wstring first = audio->AddSession(kSpeakers, {});
    audio->AddSession(kSpeakers, {});
    CRefPtr<IAudioSessionEnumerator> sessions;
    ASSERT_EQ(speakersManager->GetSessionEnumerator(sessions), S_OK);
    CRefPtr<IAudioSessionControl> a, b;
    ASSERT_EQ(sessions->GetSession(0, a), S_OK);
    ASSERT_EQ(sessions->GetSession(1, b), S_OK);
    CRefPtr<IMMEndpoint> endpoint;
    ASSERT_EQ(speakers->QueryInterface(endpoint), S_OK);

    std::wstring text;
    uint32_t state = 0;
    int32_t count = 0;
    EDataFlow flow = eRender;
    CRefPtr<IMMDevice> device;
    CRefPtr<IMMDeviceCollection> devices;
    CRefPtr<IAudioSessionEnumerator> enumeration;
    auto notification = MakeRef<FakeSessionNotification>();
    auto events = MakeRef<FakeSessionEvents>();
    struct Case {
        const wchar_t* operation;
        std::wstring target;
        std::function<HRESULT()> call;
    };
    const Case cases[] = {
        {L"IMMDeviceEnumerator::GetDefaultAudioEndpoint",
         {},
         [&] { return audio->GetDefaultAudioEndpoint(eRender, eMultimedia, device); }},
        {L"IMMDeviceEnumerator::EnumAudioEndpoints",
         {},
         [&] { return audio->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, devices); }},
        {L"IMMDevice::GetId", {}, [&] { return speakers->GetId(text); }},
        {L"IMMDevice::GetState", {}, [&] { return speakers->GetState(state); }},
        {L"IMMDevice::QueryInterface", {}, [&] { return speakers->QueryInterface(endpoint); }},
        {L"IMMEndpoint::GetDataFlow", {}, [&] { return endpoint->GetDataFlow(flow); }},
        {L"IAudioSessionManager2::GetSessionEnumerator",
         {},
         [&] { return speakersManager->GetSessionEnumerator(enumeration); }},
        {L"IAudioSessionManager2::RegisterSessionNotification",
         {},
         [&] {
             const HRESULT result = speakersManager->RegisterSessionNotification(notification.get());
             EXPECT_EQ(audio->SessionNotificationCount(kSpeakers), result == S_OK ? 1u : 0u);
             if (result == S_OK) speakersManager->UnregisterSessionNotification(notification.get());
             return result;
         }},
        {L"IAudioSessionControl::RegisterAudioSessionNotification", first,
         [&] {
             const HRESULT result = a->RegisterAudioSessionNotification(events.get());
             EXPECT_EQ(audio->SessionEventsCount(first), result == S_OK ? 1u : 0u);
             if (result == S_OK) a->UnregisterAudioSessionNotification(events.get());
             return result;
         }},
        {L"IAudioSessionEnumerator::GetCount", kSpeakers, [&] { return sessions->GetCount(count); }},
        {L"IAudioSessionControl::GetDisplayName", kSpeakers, [&] { return b->GetDisplayName(text); }},
        {L"IAudioSessionControl::GetDisplayName", first, [&] { return a->GetDisplayName(text); }},
    };
    const HRESULT code = static_cast<HRESULT>(0x8007001Fu);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.operation);
        audio->FailOnce(c.operation, code, c.target);
        if (c.target == first) {
            EXPECT_EQ(b->GetDisplayName(text), S_OK) << "another session was hit";
        }
        EXPECT_EQ(c.call(), code);
        EXPECT_EQ(c.call(), S_OK);
    }
    // The code of a session whose device went away, as the platform has it.
    EXPECT_EQ(AUDCLNT_E_DEVICE_INVALIDATED, static_cast<HRESULT>(0x88890004u));
}

// A failed registration is the model's test (NotificationClientTest); a
// failed unregistration it cannot see.
TEST_F(SimAudioFailures, AFailedUnregistrationStillForgetsTheClient) {
    // The model deletes its client after the call whatever it returned; a
    // simulation that kept calling it would crash the test, not the model.
    auto client = MakeRef<FakeEndpointClient>();
    ASSERT_EQ(audio->RegisterEndpointNotificationCallback(client.get()), S_OK);
    audio->FailOnce(L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback", E_FAIL);
    EXPECT_EQ(audio->UnregisterEndpointNotificationCallback(client.get()), E_FAIL);
    EXPECT_EQ(audio->EndpointClientCount(), 0u);
}

}  // namespace
}  // namespace qv::test
