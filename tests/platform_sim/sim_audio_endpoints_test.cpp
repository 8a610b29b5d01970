// The simulated endpoints: what the model reads, and how and when the
// endpoint notifications reach it.
#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/sim/sim_audio.h"
#include "support/test_doubles.h"
#include "support/wait_until.h"

namespace qv::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Ne;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";
const std::wstring kMic = L"{0.0.1.00000000}.{mic}";

class SimAudioEndpoints : public ::testing::Test {
protected:
    // The machine keeps a bare pointer to a registered client: its threads
    // end before the client goes, however the test ended.
    void TearDown() override { audio->Shutdown(); }

    CRefPtr<CSimAudio> audio = MakeRef<CSimAudio>();
    CRefPtr<FakeEndpointClient> client = MakeRef<FakeEndpointClient>();

    std::wstring IdOf(const CRefPtr<IMMDevice>& device) {
        std::wstring id;
        EXPECT_EQ(device->GetId(id), S_OK);
        return id;
    }
};

TEST_F(SimAudioEndpoints, EveryChangeReachesTheClientInOrderOnOneThreadThatIsNotTheCallers) {
    ASSERT_EQ(audio->RegisterEndpointNotificationCallback(client.get()), S_OK);

    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender, DEVICE_STATE_UNPLUGGED));
    ASSERT_TRUE(audio->SetEndpointState(kSpeakers, DEVICE_STATE_ACTIVE));
    ASSERT_TRUE(audio->SetDefaultEndpoint(eRender, eMultimedia, kSpeakers));
    ASSERT_TRUE(audio->SetEndpointProperty(kSpeakers, PKEY_EnableAutoPreset, SimPropertyUi4(1)));
    ASSERT_TRUE(audio->SetDefaultEndpoint(eRender, eMultimedia, L""));
    ASSERT_TRUE(audio->RemoveEndpoint(kSpeakers));
    ASSERT_TRUE(audio->WaitUntilDelivered());

    EXPECT_THAT(client->Log.Calls(),
                ElementsAre(L"added " + kSpeakers, L"state " + kSpeakers + L" 8", L"state " + kSpeakers + L" 1",
                            L"default 0 1 " + kSpeakers, L"property " + kSpeakers + L" 16", L"default 0 1 (null)",
                            L"removed " + kSpeakers));
    auto threads = client->Log.Threads();
    EXPECT_THAT(threads, Each(Ne(std::this_thread::get_id())));
    EXPECT_THAT(threads, Each(threads.front()));
}

TEST_F(SimAudioEndpoints, AClientHearsNothingRaisedBeforeItRegisteredEvenFromACallback) {
    ASSERT_TRUE(audio->AddEndpoint(L"headset", eRender));
    auto late = MakeRef<FakeEndpointClient>();
    client->During = [&] {
        if (audio->EndpointClientCount() == 1) audio->RegisterEndpointNotificationCallback(late.get());
    };
    ASSERT_EQ(audio->RegisterEndpointNotificationCallback(client.get()), S_OK);
    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender));  // added, then state
    ASSERT_TRUE(audio->WaitUntilDelivered());
    EXPECT_EQ(client->Log.Calls().size(), 2u) << "the headset came before the client";
    EXPECT_TRUE(late->Log.Calls().empty()) << "both events were raised before the late client registered";

    ASSERT_TRUE(audio->SetEndpointState(kSpeakers, DEVICE_STATE_DISABLED));
    ASSERT_TRUE(audio->WaitUntilDelivered());
    EXPECT_THAT(late->Log.Calls(), ElementsAre(L"state " + kSpeakers + L" 2"));
    audio->UnregisterEndpointNotificationCallback(late.get());
    audio->UnregisterEndpointNotificationCallback(client.get());
}

TEST_F(SimAudioEndpoints, UnregisteringWaitsForARunningCallbackAndStopsTheOnesQueuedBehindIt) {
    Gate gate;
    client->During = [&] { gate.Arrive(); };
    ASSERT_EQ(audio->RegisterEndpointNotificationCallback(client.get()), S_OK);
    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender));  // "added" blocks, "state" waits behind it
    ASSERT_TRUE(gate.WaitForArrival());

    std::atomic<bool> returned{false};
    HRESULT result = E_FAIL;
    std::thread unregistering([&] {
        result = audio->UnregisterEndpointNotificationCallback(client.get());
        returned = true;
    });
    // The registration is gone at once: the unregistration is under way and
    // now waits for the running callback, which it must not outrun.
    ASSERT_TRUE(test::WaitUntil([&] { return audio->EndpointClientCount() == 0u; }));
    EXPECT_FALSE(returned.load());

    gate.Open();
    unregistering.join();
    EXPECT_EQ(result, S_OK);
    ASSERT_TRUE(audio->WaitUntilDelivered());
    EXPECT_THAT(client->Log.Calls(), ElementsAre(L"added " + kSpeakers));
}

TEST_F(SimAudioEndpoints, AClientMayUnregisterItselfFromItsOwnCallback) {
    HRESULT result = E_FAIL;
    client->During = [&] { result = audio->UnregisterEndpointNotificationCallback(client.get()); };
    ASSERT_EQ(audio->RegisterEndpointNotificationCallback(client.get()), S_OK);
    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender));
    ASSERT_TRUE(audio->WaitUntilDelivered());
    EXPECT_EQ(result, S_OK);
    EXPECT_THAT(client->Log.Calls(), ElementsAre(L"added " + kSpeakers));
}

TEST_F(SimAudioEndpoints, RegistrationTakesNoReferenceAndCountsEachRegistration) {
    uint32_t before = RefCount(client.get());
    ASSERT_EQ(audio->RegisterEndpointNotificationCallback(client.get()), S_OK);
    ASSERT_EQ(audio->RegisterEndpointNotificationCallback(client.get()), S_OK);
    EXPECT_EQ(RefCount(client.get()), before);
    EXPECT_EQ(audio->EndpointClientCount(), 2u);

    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender));
    ASSERT_TRUE(audio->WaitUntilDelivered());
    EXPECT_EQ(client->Log.Calls().size(), 4u);  // two events, twice

    EXPECT_EQ(audio->UnregisterEndpointNotificationCallback(client.get()), S_OK);
    EXPECT_EQ(audio->UnregisterEndpointNotificationCallback(client.get()), S_OK);
    EXPECT_EQ(audio->UnregisterEndpointNotificationCallback(client.get()), E_NOTFOUND);
    EXPECT_EQ(audio->UnregisterEndpointNotificationCallback(nullptr), E_POINTER);
    EXPECT_EQ(audio->RegisterEndpointNotificationCallback(nullptr), E_POINTER);
}

TEST_F(SimAudioEndpoints, EnumerationFiltersByFlowAndStateInTheOrderOfAddingAndIsASnapshot) {
    ASSERT_TRUE(audio->AddEndpoint(kMic, eCapture, DEVICE_STATE_ACTIVE));
    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender, DEVICE_STATE_ACTIVE));
    ASSERT_TRUE(audio->AddEndpoint(L"headset", eRender, DEVICE_STATE_UNPLUGGED));
    ASSERT_TRUE(audio->AddEndpoint(L"line-in", eCapture, DEVICE_STATE_DISABLED));

    auto ids = [&](EDataFlow flow, uint32_t mask) {
        CRefPtr<IMMDeviceCollection> devices;
        std::vector<std::wstring> result;
        if (audio->EnumAudioEndpoints(flow, mask, devices) != S_OK) return result;
        uint32_t count = 0;
        devices->GetCount(count);
        for (uint32_t i = 0; i < count; ++i) {
            CRefPtr<IMMDevice> device;
            EXPECT_EQ(devices->Item(i, device), S_OK);
            result.push_back(IdOf(device));
        }
        return result;
    };
    EXPECT_THAT(ids(eCapture, DEVICE_STATE_ACTIVE), ElementsAre(kMic));
    EXPECT_THAT(ids(eRender, DEVICE_STATEMASK_ALL), ElementsAre(kSpeakers, L"headset"));
    EXPECT_THAT(ids(eAll, DEVICE_STATE_UNPLUGGED | DEVICE_STATE_DISABLED), ElementsAre(L"headset", L"line-in"));

    CRefPtr<IMMDeviceCollection> devices;
    EXPECT_EQ(audio->EnumAudioEndpoints(eRender, 0, devices), E_INVALIDARG);
    EXPECT_EQ(audio->EnumAudioEndpoints(EDataFlowUnknown, DEVICE_STATE_ACTIVE, devices), E_INVALIDARG);
    ASSERT_EQ(audio->EnumAudioEndpoints(eCapture, DEVICE_STATE_ACTIVE, devices), S_OK);
    CRefPtr<IMMDevice> device;
    EXPECT_EQ(devices->Item(1, device), E_INVALIDARG);
    EXPECT_FALSE(device);

    // A collection is a snapshot.
    ASSERT_TRUE(audio->AddEndpoint(L"second mic", eCapture));
    uint32_t count = 0;
    ASSERT_EQ(devices->GetCount(count), S_OK);
    EXPECT_EQ(count, 1u);
}

TEST_F(SimAudioEndpoints, UnknownIdsAndMissingDefaultsGiveNotFound) {
    CRefPtr<IMMDevice> device;
    EXPECT_EQ(audio->GetDevice(L"nothing", device), E_NOTFOUND);
    EXPECT_EQ(audio->GetDefaultAudioEndpoint(eRender, eMultimedia, device), E_NOTFOUND);

    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender));
    ASSERT_TRUE(audio->SetDefaultEndpoint(eRender, eConsole, kSpeakers));
    EXPECT_EQ(audio->GetDefaultAudioEndpoint(eRender, eMultimedia, device), E_NOTFOUND);
    ASSERT_EQ(audio->GetDefaultAudioEndpoint(eRender, eConsole, device), S_OK);
    EXPECT_EQ(IdOf(device), kSpeakers);

    EXPECT_FALSE(audio->SetDefaultEndpoint(eRender, eConsole, L"nothing"));
    EXPECT_FALSE(audio->SetEndpointState(L"nothing", DEVICE_STATE_ACTIVE));
    EXPECT_FALSE(audio->AddEndpoint(kSpeakers, eRender));
    EXPECT_FALSE(audio->AddEndpoint(L"both ways", eAll));
}

TEST_F(SimAudioEndpoints, ADeviceFollowsItsEndpointsStateAndOnlyAnActiveOneActivatesItsSessionManager) {
    ASSERT_TRUE(audio->AddEndpoint(kMic, eCapture, DEVICE_STATE_UNPLUGGED));
    CRefPtr<IMMDevice> device;
    ASSERT_EQ(audio->GetDevice(kMic, device), S_OK);
    CRefPtr<IMMEndpoint> endpoint;
    ASSERT_EQ(device->QueryInterface(endpoint), S_OK);
    EDataFlow flow = eRender;
    ASSERT_EQ(endpoint->GetDataFlow(flow), S_OK);
    EXPECT_EQ(flow, eCapture);
    CRefPtr<IAudioSessionManager2> manager;
    EXPECT_EQ(device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, manager), AUDCLNT_E_DEVICE_INVALIDATED);
    EXPECT_FALSE(manager);

    uint32_t state = 0;
    ASSERT_TRUE(audio->SetEndpointState(kMic, DEVICE_STATE_ACTIVE));
    ASSERT_EQ(device->GetState(state), S_OK);
    EXPECT_EQ(state, DEVICE_STATE_ACTIVE);
    EXPECT_EQ(device->Activate(IID_IMMEndpoint, CLSCTX_ALL, manager), E_NOINTERFACE);
    EXPECT_EQ(device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, manager), S_OK);
    EXPECT_TRUE(manager);

    ASSERT_TRUE(audio->RemoveEndpoint(kMic));
    ASSERT_EQ(device->GetState(state), S_OK);
    EXPECT_EQ(state, DEVICE_STATE_NOTPRESENT);
    EXPECT_EQ(device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, manager), AUDCLNT_E_DEVICE_INVALIDATED);
    EXPECT_EQ(audio->GetDevice(kMic, device), E_NOTFOUND);
}

TEST_F(SimAudioEndpoints, ThePropertyStoreGivesValuesWithTheirTypesAndEmptyForMissingOnes) {
    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender, DEVICE_STATE_ACTIVE, L"Speakers"));
    ASSERT_TRUE(audio->AddEndpoint(L"headset", eRender));
    CRefPtr<IPropertyStore> store;
    auto read = [&](const PROPERTYKEY& key) {
        PROPVARIANT value = SimPropertyUi4(77);  // whatever the caller held must go
        EXPECT_EQ(store->GetValue(key, value), S_OK);
        return value;
    };
    CRefPtr<IMMDevice> device;
    ASSERT_EQ(audio->GetDevice(kSpeakers, device), S_OK);
    ASSERT_EQ(device->OpenPropertyStore(STGM_READ, store), S_OK);
    EXPECT_EQ(read(PKEY_HasAutoPreset).vt, VT_EMPTY);
    EXPECT_EQ(read(PKEY_Device_FriendlyName).vt, VT_LPWSTR);
    EXPECT_EQ(read(PKEY_Device_FriendlyName).pwszVal, L"Speakers");

    // A store opened once reads what is written later.
    ASSERT_TRUE(audio->SetEndpointProperty(kSpeakers, PKEY_AutoPresetFeatureMode, SimPropertyUi4(1)));
    ASSERT_TRUE(audio->SetEndpointProperty(kSpeakers, PKEY_AudioContentType_EFX, SimPropertyString(L"Movie")));
    ASSERT_TRUE(audio->SetEndpointProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyOfType(VT_I4, 5)));
    EXPECT_EQ(read(PKEY_AutoPresetFeatureMode).vt, VT_UI4);
    EXPECT_EQ(read(PKEY_AutoPresetFeatureMode).ulVal, 1u);
    EXPECT_EQ(read(PKEY_AudioContentType_EFX).vt, VT_LPWSTR);
    EXPECT_EQ(read(PKEY_AudioContentType_EFX).pwszVal, L"Movie");
    EXPECT_EQ(read(PKEY_HasAutoPreset).vt, VT_I4);
    EXPECT_EQ(read(PKEY_HasAutoPreset).ulVal, 5u);
    // The two property sets differ in their last digit only: keys of one
    // must not answer for the other.
    EXPECT_EQ(read(PROPERTYKEY{kAutoPresetPropertySet, 3}).vt, VT_EMPTY);
    ASSERT_TRUE(audio->SetEndpointProperty(kSpeakers, PKEY_AutoPresetFeatureMode, PROPVARIANT{}));
    EXPECT_EQ(read(PKEY_AutoPresetFeatureMode).vt, VT_EMPTY);

    // Another endpoint's store has none of it.
    ASSERT_EQ(audio->GetDevice(L"headset", device), S_OK);
    ASSERT_EQ(device->OpenPropertyStore(STGM_READ, store), S_OK);
    EXPECT_EQ(read(PKEY_HasAutoPreset).vt, VT_EMPTY);
}

}  // namespace
}  // namespace qv::test
