// How the server's records turn into endpoint and session events, without a
// server: the orders and the corner cases that the two real servers
// produce (PipeWire's unlinked first sight of a stream, moves, monitors as
// the default source, the loss of the server).
#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/linux/linux_endpoint_properties.h"
#include "platform/linux/linux_pulse_mirror.h"

namespace qv {
namespace {

using Kind = MirrorEvent::Kind;

PulseEndpoint Sink(uint32_t index, const std::string& name, uint32_t state = DEVICE_STATE_ACTIVE) {
    PulseEndpoint e;
    e.flow = eRender;
    e.index = index;
    e.name = name;
    e.description = name + " description";
    e.state = state;
    return e;
}

PulseStream Playback(uint32_t index, uint32_t sink, bool corked = false) {
    PulseStream s;
    s.flow = eRender;
    s.index = index;
    s.device = sink;
    s.corked = corked;
    s.applicationName = "player";
    s.channelVolumes = {1.0f, 1.0f};
    return s;
}

std::vector<Kind> KindsOf(const MirrorEvents& events) {
    std::vector<Kind> kinds;
    for (const auto& e : events) kinds.push_back(e.kind);
    return kinds;
}

class ServerMirrorTest : public testing::Test {
protected:
    void SetUp() override {
        MirrorEvents ignored;
        mirror.UpsertEndpoint(Sink(1, "spk"), ignored);
        mirror.UpsertEndpoint(Sink(2, "other"), ignored);
        mirror.SetServerDefaults("spk", "spk.monitor", ignored);
    }
    CPulseMirror mirror;
    MirrorEvents events;
};

TEST_F(ServerMirrorTest, NewEndpointIsAddedThenHasItsStateAndOnlyChangesOfItsValuesAreAnnounced) {
    mirror.UpsertEndpoint(Sink(3, "usb", DEVICE_STATE_UNPLUGGED), events);
    ASSERT_EQ(KindsOf(events), (std::vector<Kind>{Kind::DeviceAdded, Kind::DeviceStateChanged}));
    EXPECT_EQ(events[1].endpoint, "usb");
    EXPECT_EQ(events[1].state, DEVICE_STATE_UNPLUGGED);

    events.clear();
    mirror.UpsertEndpoint(Sink(3, "usb", DEVICE_STATE_UNPLUGGED), events);
    EXPECT_TRUE(events.empty()) << "a record that says nothing new is no event";

    PulseEndpoint changed = Sink(3, "usb", DEVICE_STATE_ACTIVE);
    changed.description = "USB Headset";
    changed.presetTexts = {{"quorvane.auto-preset.has", "1"}};
    mirror.UpsertEndpoint(changed, events);
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0].kind, Kind::DeviceStateChanged);
    EXPECT_EQ(events[0].state, DEVICE_STATE_ACTIVE);
    EXPECT_EQ(events[1].key, PKEY_Device_FriendlyName);
    EXPECT_EQ(events[2].key, PKEY_HasAutoPreset);

    events.clear();
    changed.presetTexts = {{"quorvane.auto-preset.has", "1"}, {"quorvane.auto-preset.enable", "0"}};
    mirror.UpsertEndpoint(changed, events);
    ASSERT_EQ(events.size(), 1u) << "only the key whose value changed";
    EXPECT_EQ(events[0].key, PKEY_EnableAutoPreset);
}

TEST_F(ServerMirrorTest, RemovedEndpointTurnsNotPresentStaysKnownAndComesBackAsAdded) {
    mirror.RemoveEndpoint(eRender, 2, events);
    ASSERT_EQ(KindsOf(events), (std::vector<Kind>{Kind::DeviceStateChanged, Kind::DeviceRemoved}));
    EXPECT_EQ(events[0].state, DEVICE_STATE_NOTPRESENT);
    const PulseEndpoint* known = mirror.FindEndpoint(eRender, "other");
    ASSERT_NE(known, nullptr);
    EXPECT_FALSE(known->present);

    events.clear();
    mirror.RemoveEndpoint(eRender, 2, events);
    EXPECT_TRUE(events.empty()) << "an index removed twice, or unknown, says nothing";

    mirror.UpsertEndpoint(Sink(7, "other"), events);
    EXPECT_EQ(KindsOf(events), (std::vector<Kind>{Kind::DeviceAdded, Kind::DeviceStateChanged}));
    EXPECT_EQ(mirror.Endpoints().size(), 2u) << "the same endpoint, not a second one";
}

TEST_F(ServerMirrorTest, DefaultIsAnnouncedForEveryRoleAndAMonitorIsNoCaptureDefault) {
    EXPECT_EQ(mirror.DefaultEndpoint(eRender), "spk");
    EXPECT_EQ(mirror.DefaultEndpoint(eCapture), "") << "spk.monitor is not a capture endpoint";

    mirror.SetServerDefaults("other", "spk.monitor", events);
    ASSERT_EQ(events.size(), 3u);
    for (uint32_t role = 0; role < 3; ++role) {
        EXPECT_EQ(events[role].kind, Kind::DefaultDeviceChanged);
        EXPECT_EQ(events[role].flow, eRender);
        EXPECT_EQ(events[role].state, role);
        EXPECT_EQ(events[role].endpoint, "other");
    }

    events.clear();
    mirror.RemoveEndpoint(eRender, 2, events);
    ASSERT_EQ(events.size(), 5u) << "state, removal, and the default gone for three roles";
    EXPECT_EQ(events[2].kind, Kind::DefaultDeviceChanged);
    EXPECT_EQ(events[2].endpoint, "") << "no default any more";
}

TEST_F(ServerMirrorTest, UnlinkedStreamIsCreatedOnlyWhenLinkedAsPipeWireShowsIt) {
    mirror.UpsertStream(Playback(40, kNoPulseIndex, true), events);
    EXPECT_TRUE(events.empty()) << "not linked: no endpoint's session yet";
    mirror.UpsertStream(Playback(40, 1, true), events);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, Kind::SessionCreated);
    EXPECT_EQ(events[0].endpoint, "spk");
    EXPECT_EQ(events[0].stream, 40u);
    EXPECT_EQ(events[0].device, 1u);

    events.clear();
    mirror.UpsertStream(Playback(40, 1, false), events);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, Kind::SessionStateChanged);
    EXPECT_EQ(events[0].sessionState, AudioSessionStateActive);
    ASSERT_EQ(mirror.StreamsOf(eRender, "spk").size(), 1u);
    EXPECT_TRUE(mirror.StreamsOf(eRender, "other").empty());
}

TEST_F(ServerMirrorTest, MovedStreamIsDisconnectedAtTheOldEndpointAndCreatedAtTheNew) {
    mirror.UpsertStream(Playback(40, 1), events);
    events.clear();
    mirror.UpsertStream(Playback(40, 2), events);
    ASSERT_EQ(KindsOf(events), (std::vector<Kind>{Kind::SessionDisconnected, Kind::SessionCreated}));
    EXPECT_EQ(events[0].endpoint, "spk");
    EXPECT_EQ(events[0].device, 1u);
    EXPECT_EQ(events[0].reason, DisconnectReasonDeviceRemoval);
    EXPECT_EQ(events[1].endpoint, "other");
    EXPECT_EQ(events[1].device, 2u);
}

TEST_F(ServerMirrorTest, RemovedStreamExpiresAndPropertyChangesAreSessionEvents) {
    mirror.UpsertStream(Playback(40, 1), events);
    events.clear();
    PulseStream changed = Playback(40, 1);
    changed.applicationName = "renamed";
    changed.channelVolumes = {0.5f, 1.0f};
    changed.muted = true;
    mirror.UpsertStream(changed, events);
    ASSERT_EQ(KindsOf(events), (std::vector<Kind>{Kind::SessionDisplayNameChanged, Kind::SessionSimpleVolumeChanged,
                                                  Kind::SessionChannelVolumeChanged}));
    EXPECT_EQ(events[0].text, "renamed");
    EXPECT_FLOAT_EQ(events[1].volume, 0.75f) << "the average of the channels";
    EXPECT_TRUE(events[1].muted);
    EXPECT_EQ(events[2].changedChannel, 0u) << "only the first channel changed";

    events.clear();
    changed.channelVolumes = {0.25f, 0.25f};
    mirror.UpsertStream(changed, events);
    ASSERT_EQ(events.back().kind, Kind::SessionChannelVolumeChanged);
    EXPECT_EQ(events.back().changedChannel, 0xFFFFFFFFu) << "more than one channel changed";

    events.clear();
    mirror.RemoveStream(eRender, 40, events);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, Kind::SessionStateChanged);
    EXPECT_EQ(events[0].sessionState, AudioSessionStateExpired);
    EXPECT_EQ(mirror.FindStream(eRender, 40), nullptr);
}

TEST_F(ServerMirrorTest, LosingTheServerDisconnectsSessionsRemovesEndpointsAndDropsDefaults) {
    mirror.UpsertStream(Playback(40, 1), events);
    mirror.UpsertStream(Playback(41, kNoPulseIndex), events);
    events.clear();
    mirror.LoseServer(events);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events[0].kind, Kind::SessionDisconnected);
    EXPECT_EQ(events[0].reason, DisconnectReasonServerShutdown);
    EXPECT_EQ(events[0].stream, 40u) << "an unlinked stream has no session to disconnect";
    std::size_t removals = 0, defaults = 0;
    for (const auto& e : events) {
        removals += e.kind == Kind::DeviceRemoved;
        defaults += e.kind == Kind::DefaultDeviceChanged;
    }
    EXPECT_EQ(removals, 2u);
    EXPECT_EQ(defaults, 3u) << "the render default goes for three roles; capture had none";
    EXPECT_EQ(mirror.DefaultEndpoint(eRender), "");
    EXPECT_EQ(mirror.FindStream(eRender, 40), nullptr);
}

TEST(EndpointPropertiesTest, NumbersAreReadStrictlyAndAnythingElseIsTextOfTheWrongType) {
    uint32_t value = 0;
    EXPECT_TRUE(ParseStrictUint32("0", value));
    EXPECT_TRUE(ParseStrictUint32("4294967295", value));
    EXPECT_EQ(value, 4294967295u);
    for (const char* bad : {"", "+1", "-1", " 1", "1 ", "1.0", "0x10", "4294967296", "99999999999", "yes"})
        EXPECT_FALSE(ParseStrictUint32(bad, value)) << bad;

    PROPVARIANT number = PresetValueFromText("2", true);
    EXPECT_EQ(number.vt, VT_UI4);
    EXPECT_EQ(number.ulVal, 2u);
    PROPVARIANT wrong = PresetValueFromText("on", true);
    EXPECT_EQ(wrong.vt, VT_LPWSTR);
    EXPECT_EQ(wrong.pwszVal, L"on");
    PROPVARIANT text = PresetValueFromText("12", false);
    EXPECT_EQ(text.vt, VT_LPWSTR) << "the content type is text even when it looks like a number";
}

TEST(EndpointPropertiesTest, FileIsAnObjectOfDevicesWhoseOddEntriesAreSkipped) {
    EndpointPropertyTable table;
    ASSERT_TRUE(ParseEndpointPropertyFile(R"({
        "mic": {"quorvane.auto-preset.has": 1, "quorvane.auto-preset.content-type": "Voice",
                "quorvane.auto-preset.enable": "1", "quorvane.auto-preset.feature-mode": -1,
                "unrelated": 5},
        "odd": [1, 2],
        "flags": {"quorvane.auto-preset.has": true}
    })",
                                          table));
    ASSERT_EQ(table.count("mic"), 1u);
    EXPECT_EQ(table["mic"]["quorvane.auto-preset.has"], "1");
    EXPECT_EQ(table["mic"]["quorvane.auto-preset.content-type"], "Voice");
    EXPECT_EQ(table["mic"]["quorvane.auto-preset.enable"], "1");
    EXPECT_EQ(table["mic"]["quorvane.auto-preset.feature-mode"], "-1") << "kept as text, read as the wrong type";
    EXPECT_EQ(table["mic"].count("unrelated"), 0u);
    EXPECT_EQ(table.count("odd"), 0u);
    EXPECT_TRUE(table["flags"].empty()) << "a boolean is neither number nor text";

    for (const char* bad : {"", "[]", "{\"mic\": ", "\"text\"", "{\"a\":1}garbage"}) {
        EXPECT_FALSE(ParseEndpointPropertyFile(bad, table)) << bad;
        EXPECT_TRUE(table.empty()) << bad;
    }
}

}  // namespace
}  // namespace qv
