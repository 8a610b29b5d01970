// How and when the simulated endpoints' notifications reach a client: who
// hears what, and registering and unregistering while they are delivered.
// What the model reads of the endpoints is checked by tests/devices.
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
};

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
    // Delivered on one thread of the machine's, never the caller's.
    auto threads = client->Log.Threads();
    EXPECT_THAT(threads, Each(Ne(std::this_thread::get_id())));
    EXPECT_THAT(threads, Each(threads.front()));

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

// The two property sets differ in their last digit only: a key of one must
// not answer for the other (the model's reads would not notice).
TEST_F(SimAudioEndpoints, AKeyOfTheOtherPropertySetWithTheSameNumberIsAnotherProperty) {
    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender));
    ASSERT_TRUE(audio->SetEndpointProperty(kSpeakers, PKEY_AudioContentType_EFX, SimPropertyString(L"Movie")));
    CRefPtr<IMMDevice> device;
    ASSERT_EQ(audio->GetDevice(kSpeakers, device), S_OK);
    CRefPtr<IPropertyStore> store;
    ASSERT_EQ(device->OpenPropertyStore(STGM_READ, store), S_OK);
    PROPVARIANT value = SimPropertyUi4(77);  // whatever the caller held must go
    ASSERT_EQ(store->GetValue(PROPERTYKEY{kAutoPresetPropertySet, PKEY_AudioContentType_EFX.pid}, value), S_OK);
    EXPECT_EQ(value.vt, VT_EMPTY);
}

// What the model never asks: the refusals, and a collection as a snapshot.
TEST_F(SimAudioEndpoints, BadArgumentsAreRefusedAndACollectionIsASnapshot) {
    CRefPtr<IMMDevice> device;
    EXPECT_EQ(audio->GetDevice(L"nothing", device), E_NOTFOUND);
    EXPECT_EQ(audio->GetDefaultAudioEndpoint(eRender, eMultimedia, device), E_NOTFOUND);
    ASSERT_TRUE(audio->AddEndpoint(kSpeakers, eRender));
    EXPECT_FALSE(audio->SetDefaultEndpoint(eRender, eConsole, L"nothing"));
    EXPECT_FALSE(audio->SetEndpointState(L"nothing", DEVICE_STATE_ACTIVE));
    EXPECT_FALSE(audio->AddEndpoint(kSpeakers, eRender));
    EXPECT_FALSE(audio->AddEndpoint(L"both ways", eAll));

    CRefPtr<IMMDeviceCollection> devices;
    EXPECT_EQ(audio->EnumAudioEndpoints(eRender, 0, devices), E_INVALIDARG);
    EXPECT_EQ(audio->EnumAudioEndpoints(EDataFlowUnknown, DEVICE_STATE_ACTIVE, devices), E_INVALIDARG);
    ASSERT_EQ(audio->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, devices), S_OK);
    EXPECT_EQ(devices->Item(1, device), E_INVALIDARG);
    EXPECT_FALSE(device);
    ASSERT_TRUE(audio->AddEndpoint(L"headset", eRender));
    uint32_t count = 0;
    ASSERT_EQ(devices->GetCount(count), S_OK);
    EXPECT_EQ(count, 1u);
}

}  // namespace
}  // namespace qv::test
