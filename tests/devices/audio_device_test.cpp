// One endpoint's device: its state, the toast of a new connection, the four
// values of the automatic preset, the default endpoint, and the rebuild in
// place.
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
const std::wstring kHeadphones = L"{0.0.0.00000000}.{headphones}";
const std::wstring kMicrophone = L"{0.0.1.00000000}.{microphone}";

constexpr uint64_t kOneSecond = 10'000'000;  // in 100-ns ticks

class AudioDeviceTest : public ModelTest {
protected:
    // The endpoint named at start, as the device manager makes it.
    CRefPtr<CAudioDevice> StartWith(const std::wstring& id, uint32_t state = DEVICE_STATE_ACTIVE) {
        EXPECT_TRUE(Audio().AddEndpoint(id, eRender, state));
        manager = StartDeviceManager({id});
        Settle();
        return FindDevice(*manager, id);
    }
    void SetState(const std::wstring& id, uint32_t state) {
        ASSERT_TRUE(Audio().SetEndpointState(id, state));
        Settle();
    }
    // A property event of the endpoint, which re-reads all four values.
    void SetProperty(const std::wstring& id, const PROPERTYKEY& key, const PROPVARIANT& value) {
        ASSERT_TRUE(Audio().SetEndpointProperty(id, key, value));
        Settle();
    }

    CRefPtr<CAudioDeviceManager> manager;
};

// ---- State, and the toast of a newly connected device

TEST_F(AudioDeviceTest, AnEndpointBackWithinTwoSecondsOfAResumeIsNoConnection) {
    OfferNewDeviceToasts();
    CRefPtr<CAudioDevice> speakers = StartWith(kSpeakers, DEVICE_STATE_UNPLUGGED);
    ASSERT_FALSE(speakers->IsActive.value());

    // A suspend is remembered, but only a resume holds the toast back.
    Clock().AdvanceClock(kOneSecond);
    Power().Suspend();
    Settle();
    EXPECT_EQ(speakers->LastSuspendTime, Clock().NowTicks.load());
    EXPECT_EQ(speakers->LastResumeTime, 0u);
    SetState(kSpeakers, DEVICE_STATE_ACTIVE);
    EXPECT_THAT(NewDeviceToastsShown(), ElementsAre(kSpeakers));
    DismissToasts();
    SetState(kSpeakers, DEVICE_STATE_UNPLUGGED);

    Power().Resume();
    Settle();
    EXPECT_EQ(speakers->LastResumeTime, Clock().NowTicks.load());
    Clock().AdvanceClock(kOneSecond * 3 / 2);
    SetState(kSpeakers, DEVICE_STATE_ACTIVE);
    EXPECT_TRUE(speakers->IsActive.value());
    EXPECT_THAT(NewDeviceToastsShown(), ElementsAre(kSpeakers));
    // Held back for that one activation only.
    EXPECT_TRUE(speakers->ShowNewDeviceToast);

    SetState(kSpeakers, DEVICE_STATE_UNPLUGGED);
    Clock().AdvanceClock(kOneSecond / 2);  // exactly two seconds after the resume
    SetState(kSpeakers, DEVICE_STATE_ACTIVE);
    EXPECT_THAT(NewDeviceToastsShown(), ElementsAre(kSpeakers, kSpeakers));
}

TEST_F(AudioDeviceTest, EachStateTakesTheDeviceWhereTheTableSaysAndAReconnectionToasts) {
    OfferNewDeviceToasts();
    CRefPtr<CAudioDevice> speakers = StartWith(kSpeakers);
    PropertyWatcher isActive(speakers->IsActive);
    // Only the first look at a start-up endpoint is free of a toast.
    EXPECT_TRUE(speakers->IsActive.value());
    EXPECT_THAT(NewDeviceToastsShown(), IsEmpty());
    // This machine has no default output: only logged.
    EXPECT_FALSE(speakers->IsDefaultEndpoint.value());
    EXPECT_TRUE(h.Traced(L"Failed to receive default audio endpoint with error code -2147023728.\n"));
    h.ClearTrace();

    // A repeated active state runs no handler.
    SetState(kSpeakers, DEVICE_STATE_ACTIVE);
    EXPECT_EQ(isActive.changingCalls, 0);
    EXPECT_THAT(NewDeviceToastsShown(), IsEmpty());

    SetState(kSpeakers, DEVICE_STATE_DISABLED);
    SetState(kSpeakers, DEVICE_STATE_ACTIVE);
    EXPECT_THAT(NewDeviceToastsShown(), ElementsAre(kSpeakers));
    // While that toast is still offered, a reconnection offers no second one.
    SetState(kSpeakers, DEVICE_STATE_NOTPRESENT);
    SetState(kSpeakers, DEVICE_STATE_ACTIVE);
    EXPECT_THAT(NewDeviceToastsShown(), ElementsAre(kSpeakers));
    DismissToasts();
    SetState(kSpeakers, 0x10);  // a state of no name changes nothing
    SetState(kSpeakers, DEVICE_STATE_UNPLUGGED);
    SetState(kSpeakers, DEVICE_STATE_ACTIVE);
    EXPECT_THAT(NewDeviceToastsShown(), ElementsAre(kSpeakers, kSpeakers));
    EXPECT_THAT(isActive.values, ElementsAre(false, true, false, true, false, true));
    // The disabled state keeps its old misleading text.
    EXPECT_EQ(TraceCount(L"State = DEVICE_STATE_ACTIVE\n"), 5u);
    EXPECT_EQ(TraceCount(L"State = DEVICE_STATE_NOTPRESENT\n"), 1u);
    EXPECT_EQ(TraceCount(L"State = DEVICE_STATE_UNPLUGGED\n"), 1u);
    EXPECT_EQ(TraceCount(L"State = <Unknown>\n"), 1u);
}

// ---- The four values of the automatic preset

TEST_F(AudioDeviceTest, TheFourValuesAreReadWhenTheEndpointIsActive) {
    ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
    ASSERT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_AutoPresetFeatureMode, SimPropertyUi4(1)));
    ASSERT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_AudioContentType_EFX, SimPropertyString(L"Movie")));
    ASSERT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyUi4(7)));
    ASSERT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_EnableAutoPreset, SimPropertyUi4(1)));
    manager = StartDeviceManager({kSpeakers});
    Settle();
    CRefPtr<CAudioDevice> speakers = FindDevice(*manager, kSpeakers);

    EXPECT_EQ(speakers->AutoPresetFeatureMode.value(), 1u);
    EXPECT_EQ(speakers->ContentTypeName.value(), L"Movie");
    EXPECT_TRUE(speakers->HasAutoPreset.value());
    EXPECT_TRUE(speakers->EnableAutoPreset.value());

    // Inactive, the device keeps its values, and the store stays open: a
    // property event still re-reads it.
    SetState(kSpeakers, DEVICE_STATE_UNPLUGGED);
    EXPECT_EQ(speakers->AutoPresetFeatureMode.value(), 1u);
    SetProperty(kSpeakers, PKEY_AutoPresetFeatureMode, SimPropertyUi4(2));
    EXPECT_FALSE(speakers->IsActive.value());
    EXPECT_EQ(speakers->AutoPresetFeatureMode.value(), 2u);
}

TEST_F(AudioDeviceTest, ValuesOfTheWrongTypeMissingOrUnreadableReadAsNothing) {
    CRefPtr<CAudioDevice> speakers = StartWith(kSpeakers);
    SetProperty(kSpeakers, PKEY_AutoPresetFeatureMode, SimPropertyUi4(1));
    SetProperty(kSpeakers, PKEY_AudioContentType_EFX, SimPropertyString(L"Voice"));
    SetProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyUi4(1));
    SetProperty(kSpeakers, PKEY_EnableAutoPreset, SimPropertyUi4(1));
    ASSERT_EQ(speakers->AutoPresetFeatureMode.value(), 1u);
    ASSERT_TRUE(speakers->EnableAutoPreset.value());

    SetProperty(kSpeakers, PKEY_AutoPresetFeatureMode, SimPropertyOfType(VT_I4, 1));
    EXPECT_EQ(speakers->AutoPresetFeatureMode.value(), 0u);
    EXPECT_TRUE(h.Traced(L"Invalid type for PKEY_AutoPresetFeatureMode value received: 3.\n"));
    SetProperty(kSpeakers, PKEY_AudioContentType_EFX, SimPropertyUi4(2));
    EXPECT_EQ(speakers->ContentTypeName.value(), L"");
    EXPECT_TRUE(h.Traced(L"Invalid type for PKEY_AudioContentType_EFX value received: 19.\n"));

    // Without HasAutoPreset the enable flag is not even read: one re-read is
    // mode, content type, HasAutoPreset, and no fourth read.
    const uint64_t readsBefore = Audio().CallCount(L"IPropertyStore::GetValue", kSpeakers);
    SetProperty(kSpeakers, PKEY_HasAutoPreset, PROPVARIANT{});
    EXPECT_EQ(Audio().CallCount(L"IPropertyStore::GetValue", kSpeakers) - readsBefore, 3u);
    EXPECT_FALSE(speakers->HasAutoPreset.value());
    EXPECT_FALSE(speakers->EnableAutoPreset.value());
    // The raw bits are logged even when the type is wrong.
    SetProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyOfType(VT_BOOL, 0xFFFF));
    EXPECT_FALSE(speakers->HasAutoPreset.value());
    EXPECT_TRUE(h.Traced(L"Invalid type for PKEY_HasAutoPreset value received: 11.\n"));
    EXPECT_TRUE(h.Traced(L"HasAutoPreset = 65535.\n"));

    // A failed read is no different from a missing value.
    SetProperty(kSpeakers, PKEY_AutoPresetFeatureMode, SimPropertyUi4(1));
    SetProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyUi4(1));
    ASSERT_TRUE(speakers->EnableAutoPreset.value());
    Audio().Fail(L"IPropertyStore::GetValue", E_FAIL, kSpeakers);
    SetProperty(kSpeakers, PKEY_Device_FriendlyName, SimPropertyString(L"Desk"));
    EXPECT_EQ(speakers->AutoPresetFeatureMode.value(), 0u);
    EXPECT_FALSE(speakers->HasAutoPreset.value());
    EXPECT_FALSE(speakers->EnableAutoPreset.value());
}

TEST_F(AudioDeviceTest, WithoutAStoreEveryPropertyEventIsLoggedAndChangesNothing) {
    ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
    ASSERT_TRUE(Audio().SetEndpointProperty(kSpeakers, PKEY_HasAutoPreset, SimPropertyUi4(1)));
    Audio().Fail(L"IMMDevice::OpenPropertyStore", E_ACCESSDENIED, kSpeakers);
    manager = StartDeviceManager({kSpeakers});
    Settle();
    CRefPtr<CAudioDevice> speakers = FindDevice(*manager, kSpeakers);
    ASSERT_TRUE(speakers->IsActive.value());
    EXPECT_FALSE(speakers->AudioEndpointProperties.value());
    // Once for each pass through the device.
    EXPECT_EQ(TraceCount(L"Failed to open property store with error code -2147024891.\n"), 2u);
    EXPECT_EQ(TraceCount(L"AudioEndpointProperties = NULL.\n"), 0u);

    SetProperty(kSpeakers, PKEY_AutoPresetFeatureMode, SimPropertyUi4(1));
    SetProperty(kSpeakers, PKEY_EnableAutoPreset, SimPropertyUi4(1));
    EXPECT_EQ(TraceCount(L"AudioEndpointProperties = NULL.\n"), 2u);
    EXPECT_EQ(speakers->AutoPresetFeatureMode.value(), 0u);
    EXPECT_FALSE(speakers->HasAutoPreset.value());
    EXPECT_FALSE(speakers->EnableAutoPreset.value());
    EXPECT_EQ(Audio().CallCount(L"IPropertyStore::GetValue", kSpeakers), 0u);
}

// ---- The default endpoint

TEST_F(AudioDeviceTest, OnlyTheMultimediaRoleOfTheOutputMakesTheDefault) {
    ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
    ASSERT_TRUE(Audio().AddEndpoint(kHeadphones, eRender));
    ASSERT_TRUE(Audio().AddEndpoint(kMicrophone, eCapture));
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eMultimedia, kSpeakers));
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eCapture, eMultimedia, kMicrophone));
    manager = StartDeviceManager({kSpeakers, kHeadphones});
    Settle();
    CRefPtr<CAudioDevice> speakers = FindDevice(*manager, kSpeakers);
    CRefPtr<CAudioDevice> headphones = FindDevice(*manager, kHeadphones);
    CRefPtr<CAudioDevice> microphone = FindDevice(*manager, kMicrophone);

    // From the query each device makes when it is bound.
    EXPECT_TRUE(speakers->IsDefaultEndpoint.value());
    EXPECT_FALSE(headphones->IsDefaultEndpoint.value());
    EXPECT_FALSE(microphone->IsDefaultEndpoint.value());

    ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eMultimedia, kHeadphones));
    Settle();
    EXPECT_FALSE(speakers->IsDefaultEndpoint.value());
    EXPECT_TRUE(headphones->IsDefaultEndpoint.value());

    // Other roles and the capture flow are not looked at.
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eConsole, kSpeakers));
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eRender, eCommunications, kSpeakers));
    ASSERT_TRUE(Audio().SetDefaultEndpoint(eCapture, eMultimedia, kMicrophone));
    Settle();
    EXPECT_FALSE(speakers->IsDefaultEndpoint.value());
    EXPECT_TRUE(headphones->IsDefaultEndpoint.value());
    EXPECT_FALSE(microphone->IsDefaultEndpoint.value());
    EXPECT_TRUE(h.Traced(L"defaultEndpointId = " + kSpeakers + L", flow = 0, role = 0\n"));
}

// ---- Resolution and the rebuild in place

TEST_F(AudioDeviceTest, AnEndpointThatCannotBeResolvedLeavesAnEmptyDevice) {
    Audio().Fail(L"IMMDeviceEnumerator::GetDevice", E_NOTFOUND, kSpeakers);
    CRefPtr<CAudioDevice> speakers = StartWith(kSpeakers);
    ASSERT_TRUE(speakers);
    EXPECT_FALSE(speakers->MMDevice.value());
    EXPECT_EQ(speakers->DataFlow.value(), EDataFlowUnknown);
    EXPECT_FALSE(speakers->IsActive.value());
    EXPECT_TRUE(
        h.Traced(L"Failed to receive audio endpoint with id " + kSpeakers + L" with error code -2147023728.\n"));

    // State events still work on it.
    SetState(kSpeakers, DEVICE_STATE_UNPLUGGED);
    SetState(kSpeakers, DEVICE_STATE_ACTIVE);
    EXPECT_TRUE(speakers->IsActive.value());
}

TEST_F(AudioDeviceTest, ResettingTheEnumeratorRebuildsTheSameDevice) {
    CRefPtr<CAudioDevice> speakers = StartWith(kSpeakers);
    CRefPtr<IMMDeviceEnumerator> enumerator = speakers->DeviceEnumerator.value();
    CRefPtr<CMMNotificationClient> client = manager->MMNotificationClient.value();
    ASSERT_EQ(client->ReceiverCount(), 2u);
    PropertyWatcher dataFlow(speakers->DataFlow);
    PropertyWatcher isActive(speakers->IsActive);

    speakers->DeviceEnumerator.set(nullptr);
    EXPECT_FALSE(speakers->MMDevice.value());
    EXPECT_FALSE(speakers->MMEndpoint.value());
    EXPECT_FALSE(speakers->IsActive.value());
    EXPECT_EQ(speakers->DataFlow.value(), eRender);
    EXPECT_EQ(client->ReceiverCount(), 1u);
    // Taken off the endpoint client, it hears nothing of its endpoint.
    SetState(kSpeakers, DEVICE_STATE_UNPLUGGED);
    SetState(kSpeakers, DEVICE_STATE_ACTIVE);
    EXPECT_FALSE(speakers->IsActive.value());

    speakers->DeviceEnumerator.set(enumerator);
    EXPECT_TRUE(speakers->MMDevice.value());
    EXPECT_TRUE(speakers->IsActive.value());
    EXPECT_EQ(client->ReceiverCount(), 2u);
    ASSERT_EQ(manager->AudioDevices.size(), 1u);
    EXPECT_EQ(manager->AudioDevices[0], speakers);
    EXPECT_THAT(dataFlow.values, IsEmpty());
    EXPECT_THAT(isActive.values, ElementsAre(false, true));

    SetState(kSpeakers, DEVICE_STATE_UNPLUGGED);
    EXPECT_FALSE(speakers->IsActive.value());
}

}  // namespace
}  // namespace qv::test
