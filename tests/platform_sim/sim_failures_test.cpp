// Failure injection: a chosen call fails with a chosen code, for all
// objects or one, once or until cleared, and the calls are counted.
#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/codes.h"
#include "platform/sim/sim_platform.h"
#include "support/test_doubles.h"

namespace qv::test {
namespace {

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";
const std::wstring kHeadset = L"{0.0.0.00000000}.{headset}";

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
        ASSERT_TRUE(audio->AddEndpoint(kHeadset, eRender));
        ASSERT_EQ(audio->GetDevice(kSpeakers, speakers), S_OK);
        ASSERT_EQ(audio->GetDevice(kHeadset, headset), S_OK);
    }
    CRefPtr<CSimPlatform> sim = MakeRef<CSimPlatform>();
    CRefPtr<CSimAudio> audio = sim->SimAudio;
    CRefPtr<IMMDevice> speakers, headset;
    CRefPtr<IAudioSessionManager2> speakersManager;
};

TEST_F(SimAudioFailures, AnEndpointTargetedFailureHitsOnlyThatEndpoint) {
    audio->Fail(L"IMMDevice::OpenPropertyStore", E_FAIL, kSpeakers);
    CRefPtr<IPropertyStore> store;
    EXPECT_EQ(speakers->OpenPropertyStore(STGM_READ, store), E_FAIL);
    EXPECT_FALSE(store);
    EXPECT_EQ(headset->OpenPropertyStore(STGM_READ, store), S_OK);
    EXPECT_EQ(speakers->OpenPropertyStore(STGM_READ, store), E_FAIL);  // until cleared
    audio->ClearFailure(L"IMMDevice::OpenPropertyStore", kSpeakers);
    EXPECT_EQ(speakers->OpenPropertyStore(STGM_READ, store), S_OK);
    EXPECT_EQ(audio->CallCount(L"IMMDevice::OpenPropertyStore", kSpeakers), 3u);
    EXPECT_EQ(audio->CallCount(L"IMMDevice::OpenPropertyStore"), 4u);
}

TEST_F(SimAudioFailures, EveryDeviceCallCanFailOnce) {
    const HRESULT code = static_cast<HRESULT>(0x8007001Fu);
    for (const wchar_t* op :
         {L"CreateDeviceEnumerator", L"IMMDevice::GetId", L"IMMDevice::GetState", L"IMMDevice::QueryInterface",
          L"IMMDevice::Activate", L"IMMEndpoint::GetDataFlow", L"IPropertyStore::GetValue",
          L"IMMDeviceEnumerator::GetDevice", L"IMMDeviceEnumerator::GetDefaultAudioEndpoint",
          L"IMMDeviceEnumerator::EnumAudioEndpoints"})
        audio->FailOnce(op, code);
    ASSERT_TRUE(audio->SetDefaultEndpoint(eRender, eMultimedia, kSpeakers));

    std::wstring id;
    uint32_t state = 0;
    CRefPtr<IMMEndpoint> endpoint;
    CRefPtr<IAudioSessionManager2> manager;
    CRefPtr<IPropertyStore> store;
    CRefPtr<IMMDevice> device;
    CRefPtr<IMMDeviceCollection> devices;
    CRefPtr<IMMDeviceEnumerator> enumerator;
    EXPECT_EQ(sim->CreateDeviceEnumerator(enumerator), code);
    EXPECT_FALSE(enumerator);
    EXPECT_EQ(speakers->GetId(id), code);
    EXPECT_EQ(speakers->GetState(state), code);
    EXPECT_EQ(speakers->QueryInterface(endpoint), code);
    EXPECT_FALSE(endpoint);
    EXPECT_EQ(speakers->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, manager), code);
    EXPECT_FALSE(manager);
    EXPECT_EQ(audio->GetDevice(kSpeakers, device), code);
    EXPECT_EQ(audio->GetDefaultAudioEndpoint(eRender, eMultimedia, device), code);
    EXPECT_EQ(audio->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, devices), code);

    ASSERT_EQ(speakers->QueryInterface(endpoint), S_OK);
    EDataFlow flow = eRender;
    EXPECT_EQ(endpoint->GetDataFlow(flow), code);
    ASSERT_EQ(speakers->OpenPropertyStore(STGM_READ, store), S_OK);
    PROPVARIANT value;
    EXPECT_EQ(store->GetValue(PKEY_HasAutoPreset, value), code);

    EXPECT_EQ(sim->CreateDeviceEnumerator(enumerator), S_OK);
    EXPECT_EQ(speakers->GetId(id), S_OK);
    EXPECT_EQ(audio->GetDefaultAudioEndpoint(eRender, eMultimedia, device), S_OK);
    EXPECT_EQ(endpoint->GetDataFlow(flow), S_OK);
}

TEST_F(SimAudioFailures, ASessionFailureTargetsTheSessionOrAllSessionsOfItsEndpoint) {
    ASSERT_EQ(speakers->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, speakersManager), S_OK);
    std::wstring first = audio->AddSession(kSpeakers, {.instanceIdentifier = L"first"});
    std::wstring second = audio->AddSession(kSpeakers, {.instanceIdentifier = L"second"});
    CRefPtr<IAudioSessionEnumerator> sessions;
    ASSERT_EQ(speakersManager->GetSessionEnumerator(sessions), S_OK);
    CRefPtr<IAudioSessionControl> a, b;
    ASSERT_EQ(sessions->GetSession(0, a), S_OK);
    ASSERT_EQ(sessions->GetSession(1, b), S_OK);

    std::wstring name;
    audio->Fail(L"IAudioSessionControl::GetDisplayName", E_FAIL, first);
    EXPECT_EQ(a->GetDisplayName(name), E_FAIL);
    EXPECT_EQ(b->GetDisplayName(name), S_OK);
    audio->ClearFailures();
    audio->Fail(L"IAudioSessionControl::GetDisplayName", E_FAIL, kSpeakers);
    EXPECT_EQ(a->GetDisplayName(name), E_FAIL);
    EXPECT_EQ(b->GetDisplayName(name), E_FAIL);
}

TEST_F(SimAudioFailures, SessionRegistrationCanFailWithDeviceInvalidated) {
    ASSERT_EQ(speakers->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, speakersManager), S_OK);
    std::wstring id = audio->AddSession(kSpeakers, {});
    CRefPtr<IAudioSessionEnumerator> sessions;
    ASSERT_EQ(speakersManager->GetSessionEnumerator(sessions), S_OK);
    CRefPtr<IAudioSessionControl> control;
    ASSERT_EQ(sessions->GetSession(0, control), S_OK);

    auto events = MakeRef<FakeSessionEvents>();
    audio->FailOnce(L"IAudioSessionControl::RegisterAudioSessionNotification", AUDCLNT_E_DEVICE_INVALIDATED, id);
    EXPECT_EQ(control->RegisterAudioSessionNotification(events.get()), static_cast<HRESULT>(0x88890004u));
    EXPECT_EQ(audio->SessionEventsCount(id), 0u);
    EXPECT_EQ(control->RegisterAudioSessionNotification(events.get()), S_OK);
    control->UnregisterAudioSessionNotification(events.get());

    CRefPtr<IAudioSessionControl2> control2;
    audio->FailOnce(L"IAudioSessionControl::QueryInterface", E_NOINTERFACE);
    EXPECT_EQ(control->QueryInterface(control2), E_NOINTERFACE);
    EXPECT_FALSE(control2);

    audio->FailOnce(L"IAudioSessionEnumerator::GetCount", E_FAIL, kSpeakers);
    audio->FailOnce(L"IAudioSessionEnumerator::GetSession", E_FAIL, id);
    int32_t count = 0;
    EXPECT_EQ(sessions->GetCount(count), E_FAIL);
    EXPECT_EQ(sessions->GetSession(0, control), E_FAIL);
    EXPECT_FALSE(control);

    audio->FailOnce(L"IAudioSessionManager2::GetSessionEnumerator", E_FAIL);
    audio->FailOnce(L"IAudioSessionManager2::RegisterSessionNotification", E_FAIL);
    auto notification = MakeRef<FakeSessionNotification>();
    EXPECT_EQ(speakersManager->GetSessionEnumerator(sessions), E_FAIL);
    EXPECT_FALSE(sessions);
    EXPECT_EQ(speakersManager->RegisterSessionNotification(notification.get()), E_FAIL);
    EXPECT_EQ(audio->SessionNotificationCount(kSpeakers), 0u);
}

TEST_F(SimAudioFailures, AFailedEndpointRegistrationDeliversNothingAndAFailedUnregistrationStillForgets) {
    auto client = MakeRef<FakeEndpointClient>();
    audio->FailOnce(L"IMMDeviceEnumerator::RegisterEndpointNotificationCallback", E_FAIL);
    EXPECT_EQ(audio->RegisterEndpointNotificationCallback(client.get()), E_FAIL);
    ASSERT_TRUE(audio->SetEndpointState(kSpeakers, DEVICE_STATE_DISABLED));
    ASSERT_TRUE(audio->WaitUntilDelivered());
    EXPECT_TRUE(client->Log.Calls().empty());

    // The model deletes its client after the call whatever it returned; a
    // simulation that kept calling it would crash the test, not the model.
    ASSERT_EQ(audio->RegisterEndpointNotificationCallback(client.get()), S_OK);
    audio->FailOnce(L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback", E_FAIL);
    EXPECT_EQ(audio->UnregisterEndpointNotificationCallback(client.get()), E_FAIL);
    EXPECT_EQ(audio->EndpointClientCount(), 0u);
}

}  // namespace
}  // namespace qv::test
