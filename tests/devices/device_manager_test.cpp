// The set of known endpoints: where they come from, which devices and
// classifiers they give, and what an endpoint's state changes about them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "classify/content_classifier.h"
#include "platform/codes.h"
#include "support/model_fixture.h"

namespace qv::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kSpeakers = L"{0.0.0.00000000}.{speakers}";
const std::wstring kUsbHeadset = L"{0.0.0.00000000}.{usb-headset}";
const std::wstring kHdmi = L"{0.0.0.00000000}.{hdmi}";
const std::wstring kMicrophone = L"{0.0.1.00000000}.{microphone}";
const std::wstring kLineIn = L"{0.0.1.00000000}.{line-in}";

std::vector<std::wstring> Ids(const CAudioDeviceManager::EndpointIdCollection& ids) { return ids.items(); }

std::vector<std::wstring> DeviceIds(const CAudioDeviceManager& manager) {
    std::vector<std::wstring> ids;
    for (const auto& device : manager.AudioDevices) ids.push_back(device->EndpointId());
    return ids;
}

std::vector<std::wstring> ClassifierIds(const CAudioDeviceManager& manager) {
    std::vector<std::wstring> ids;
    for (const auto& classifier : manager.ContentClassifiers()) ids.push_back(classifier->EndpointId());
    return ids;
}

class DeviceManagerTest : public ModelTest {};

TEST_F(DeviceManagerTest, ACaptureEndpointNamedAtStartGetsASecondDevice) {
    ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
    ASSERT_TRUE(Audio().AddEndpoint(kMicrophone, eCapture));
    ASSERT_TRUE(Audio().AddEndpoint(kLineIn, eCapture, DEVICE_STATE_UNPLUGGED));
    auto manager = StartDeviceManager({kMicrophone});
    Settle();

    // One from the enumeration of active capture endpoints, one from the
    // command line; the render endpoint was neither, nor is an inactive
    // capture endpoint, so they stay unknown.
    EXPECT_THAT(Ids(manager->KnownEndpointIds), ElementsAre(kMicrophone, kMicrophone));
    EXPECT_THAT(DeviceIds(*manager), ElementsAre(kMicrophone, kMicrophone));
    EXPECT_THAT(ClassifierIds(*manager), ElementsAre(kMicrophone, kMicrophone));
    EXPECT_NE(manager->AudioDevices[0], manager->AudioDevices[1]);
    EXPECT_THAT(Ids(manager->ActiveEndpointIds), ElementsAre(kMicrophone));
    for (const auto& device : manager->AudioDevices) {
        EXPECT_TRUE(device->IsActive.value());
        EXPECT_EQ(device->DataFlow.value(), eCapture);
    }
    EXPECT_EQ(TraceCount(L"EndpointID = " + kMicrophone + L".\n"), 1u);
    EXPECT_EQ(Audio().CallCount(L"IMMDeviceEnumerator::EnumAudioEndpoints"), 1u);
}

TEST_F(DeviceManagerTest, InitializeCountsOnlyOnce) {
    ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
    ASSERT_TRUE(Audio().AddEndpoint(kUsbHeadset, eRender));
    auto manager = StartDeviceManager({kSpeakers});
    manager->Initialize({"{0.0.0.00000000}.{usb-headset}"});
    Settle();

    EXPECT_FALSE(manager->InitialEnumerationPending);
    EXPECT_THAT(Ids(manager->KnownEndpointIds), ElementsAre(kSpeakers));
    EXPECT_THAT(DeviceIds(*manager), ElementsAre(kSpeakers));
    EXPECT_EQ(TraceCount(L"EndpointID = "), 1u);
}

TEST_F(DeviceManagerTest, WithoutAnEnumeratorThereIsNoDeviceAtAll) {
    Audio().Fail(L"CreateDeviceEnumerator", E_FAIL);
    ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
    auto manager = StartDeviceManager({kSpeakers});
    Settle();

    EXPECT_TRUE(h.Traced(L"Failed to create device audio enumerator with error code -2147467259.\n"));
    EXPECT_FALSE(manager->DeviceEnumerator.value());
    EXPECT_FALSE(manager->MMNotificationClient.value());
    EXPECT_FALSE(manager->SuspendResumeNotificationClient.value());
    // The ids are taken, with nobody to make devices of them.
    EXPECT_THAT(Ids(manager->KnownEndpointIds), ElementsAre(kSpeakers));
    EXPECT_THAT(DeviceIds(*manager), IsEmpty());
    EXPECT_THAT(ClassifierIds(*manager), IsEmpty());
    EXPECT_EQ(Audio().EndpointClientCount(), 0u);
    EXPECT_EQ(Power().RegistrationCount(), 0u);

    // Nothing listens, so the machine's events change nothing either.
    ASSERT_TRUE(Audio().AddEndpoint(kUsbHeadset, eRender));
    Settle();
    EXPECT_THAT(Ids(manager->KnownEndpointIds), ElementsAre(kSpeakers));
}

TEST_F(DeviceManagerTest, ARenderEndpointThatAppearsWhileRunningIsAConnection) {
    ASSERT_TRUE(Audio().AddEndpoint(kSpeakers, eRender));
    OfferNewDeviceToasts();
    auto manager = StartDeviceManager({kSpeakers});
    Settle();
    EXPECT_THAT(NewDeviceToastsShown(), IsEmpty());

    // Plugged in but not yet usable: the device appears with the state it
    // reads for itself, and no toast comes.
    ASSERT_TRUE(Audio().AddEndpoint(kUsbHeadset, eRender, DEVICE_STATE_UNPLUGGED));
    Settle();
    ASSERT_THAT(DeviceIds(*manager), ElementsAre(kSpeakers, kUsbHeadset));
    EXPECT_THAT(ClassifierIds(*manager), ElementsAre(kSpeakers, kUsbHeadset));
    CRefPtr<CAudioDevice> headset = FindDevice(*manager, kUsbHeadset);
    EXPECT_FALSE(headset->IsActive.value());
    EXPECT_EQ(headset->DataFlow.value(), eRender);
    EXPECT_THAT(NewDeviceToastsShown(), IsEmpty());

    // Its first turn to active is a newly connected device.
    ASSERT_TRUE(Audio().SetEndpointState(kUsbHeadset, DEVICE_STATE_ACTIVE));
    Settle();
    EXPECT_TRUE(headset->IsActive.value());
    EXPECT_THAT(NewDeviceToastsShown(), ElementsAre(kUsbHeadset));
    EXPECT_THAT(Ids(manager->ActiveEndpointIds), ElementsAre(kUsbHeadset));

    // The event says "unplugged", but before the model gets to it the
    // endpoint is active: the new device believes its own GetState, since it
    // registered after the event had been handed to the receivers.
    h.ClearTrace();
    ASSERT_TRUE(Audio().AddEndpoint(kHdmi, eRender, DEVICE_STATE_UNPLUGGED));
    ASSERT_TRUE(Audio().SetEndpointState(kHdmi, DEVICE_STATE_ACTIVE));
    ASSERT_TRUE(Audio().WaitUntilDelivered());
    const uint64_t getStateBefore = Audio().CallCount(L"IMMDevice::GetState", kHdmi);
    Settle();
    CRefPtr<CAudioDevice> hdmi = FindDevice(*manager, kHdmi);
    ASSERT_TRUE(hdmi);
    EXPECT_TRUE(hdmi->IsActive.value());
    EXPECT_GT(Audio().CallCount(L"IMMDevice::GetState", kHdmi), getStateBefore);
    // Each event reached the two devices that existed before, which only log it.
    EXPECT_EQ(TraceCount(L"endpointId = " + kHdmi + L", dwNewState = 8\n"), 2u);
    EXPECT_EQ(TraceCount(L"endpointId = " + kHdmi + L", dwNewState = 1\n"), 2u);
    // Made while running, active at first look: that is a connection too.
    EXPECT_THAT(NewDeviceToastsShown(), ElementsAre(kUsbHeadset, kHdmi));
    EXPECT_THAT(Ids(manager->ActiveEndpointIds), ElementsAre(kUsbHeadset, kHdmi));
}

TEST_F(DeviceManagerTest, AnUnpluggedEndpointStaysKnown) {
    ASSERT_TRUE(Audio().AddEndpoint(kMicrophone, eCapture));
    auto manager = StartDeviceManager({});
    Settle();
    ASSERT_THAT(Ids(manager->ActiveEndpointIds), ElementsAre(kMicrophone));
    CRefPtr<CAudioDevice> microphone = FindDevice(*manager, kMicrophone);

    ASSERT_TRUE(Audio().SetEndpointState(kMicrophone, DEVICE_STATE_UNPLUGGED));
    Settle();
    EXPECT_THAT(Ids(manager->KnownEndpointIds), ElementsAre(kMicrophone));
    EXPECT_THAT(DeviceIds(*manager), ElementsAre(kMicrophone));
    EXPECT_EQ(manager->AudioDevices[0], microphone);
    EXPECT_THAT(Ids(manager->ActiveEndpointIds), IsEmpty());
    EXPECT_FALSE(microphone->IsActive.value());
    EXPECT_EQ(microphone->DataFlow.value(), eCapture);

    // Active reports are not matched up: two of them stand twice, and each
    // other report takes one away.
    ASSERT_TRUE(Audio().SetEndpointState(kMicrophone, DEVICE_STATE_ACTIVE));
    ASSERT_TRUE(Audio().SetEndpointState(kMicrophone, DEVICE_STATE_ACTIVE));
    Settle();
    EXPECT_THAT(Ids(manager->ActiveEndpointIds), ElementsAre(kMicrophone, kMicrophone));
    ASSERT_TRUE(Audio().SetEndpointState(kMicrophone, DEVICE_STATE_DISABLED));
    Settle();
    EXPECT_THAT(Ids(manager->ActiveEndpointIds), ElementsAre(kMicrophone));
    EXPECT_FALSE(microphone->IsActive.value());
}

}  // namespace
}  // namespace qv::test
