// How the server's records turn into endpoint and session events, without a
// server: the orders and the corner cases that the two real servers
// produce (PipeWire's unlinked first sight of a stream, moves, monitors as
// the default source, the loss of the server).
#include <cstdio>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "platform/codes.h"
#include "platform/linux/linux_endpoint_properties.h"
#include "platform/linux/linux_pulse_mirror.h"

namespace qv {
namespace {

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

std::string KeyName(const PROPERTYKEY& key) {
    for (const auto& [known, name] :
         {std::pair{PKEY_Device_FriendlyName, "FriendlyName"}, std::pair{PKEY_HasAutoPreset, "HasAutoPreset"},
          std::pair{PKEY_EnableAutoPreset, "EnableAutoPreset"}})
        if (key == known) return name;
    return "other key";
}

template <class... Describe>
struct Overloaded : Describe... {
    using Describe::operator()...;
};

// Each event as a line with every value it carries; sessions as
// "endpoint stream@device".
std::vector<std::string> Described(const MirrorEvents& events) {
    const auto flow = [](EDataFlow f) { return std::string(f == eCapture ? "capture " : "render "); };
    const auto session = [](const mirror::Session& s) {
        return s.endpoint + " " + std::to_string(s.stream) + "@" + std::to_string(s.device);
    };
    const auto number = [](float v) {
        char text[16];
        std::snprintf(text, sizeof text, "%g", v);
        return std::string(text);
    };
    std::vector<std::string> lines;
    for (const MirrorEvent& event : events)
        lines.push_back(std::visit(
            Overloaded{
                [&](const mirror::DeviceAdded& e) { return "added " + flow(e.endpoint.flow) + e.endpoint.id; },
                [&](const mirror::DeviceStateChanged& e) {
                    return "state " + flow(e.endpoint.flow) + e.endpoint.id + " " + std::to_string(e.state);
                },
                [&](const mirror::DeviceRemoved& e) { return "removed " + flow(e.endpoint.flow) + e.endpoint.id; },
                [&](const mirror::DefaultDeviceChanged& e) {
                    return "default " + flow(e.endpoint.flow) + std::to_string(e.role) + " " + e.endpoint.id;
                },
                [&](const mirror::PropertyValueChanged& e) {
                    return "property " + flow(e.endpoint.flow) + e.endpoint.id + " " + KeyName(e.key);
                },
                [&](const mirror::SessionCreated& e) { return "created " + session(e.session); },
                [&](const mirror::SessionStateChanged& e) {
                    return "session state " + session(e.session) + " " + std::to_string(e.state);
                },
                [&](const mirror::SessionDisplayNameChanged& e) { return "name " + session(e.session) + " " + e.name; },
                [&](const mirror::SessionIconPathChanged& e) { return "icon " + session(e.session) + " " + e.path; },
                [&](const mirror::SessionSimpleVolumeChanged& e) {
                    return "volume " + session(e.session) + " " + number(e.volume) + (e.muted ? " muted" : "");
                },
                [&](const mirror::SessionChannelVolumeChanged& e) {
                    std::string line = "channels " + session(e.session);
                    for (float v : e.volumes) line += " " + number(v);
                    return line + " changed " + std::to_string(static_cast<int32_t>(e.changedChannel));
                },
                [&](const mirror::SessionDisconnected& e) {
                    return "disconnected " + session(e.session) + " " + std::to_string(e.reason);
                },
            },
            event));
    return lines;
}

using Lines = std::vector<std::string>;

class ServerMirrorTest : public testing::Test {
protected:
    void SetUp() override {
        MirrorEvents ignored;
        mirror.UpsertEndpoint(Sink(1, "spk"), ignored);
        mirror.UpsertEndpoint(Sink(2, "other"), ignored);
        mirror.SetServerDefaults("spk", "spk.monitor", ignored);
    }
    // What the call made of the mirror announces.
    template <class Change>
    Lines After(Change&& change) {
        MirrorEvents events;
        change(events);
        return Described(events);
    }
    CPulseMirror mirror;
};

TEST_F(ServerMirrorTest, NewEndpointIsAddedThenHasItsStateAndOnlyChangesOfItsValuesAreAnnounced) {
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertEndpoint(Sink(3, "usb", DEVICE_STATE_UNPLUGGED), e); }),
              (Lines{"added render usb", "state render usb 8"}));
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertEndpoint(Sink(3, "usb", DEVICE_STATE_UNPLUGGED), e); }), Lines{})
        << "a record that says nothing new is no event";

    PulseEndpoint changed = Sink(3, "usb", DEVICE_STATE_ACTIVE);
    changed.description = "USB Headset";
    changed.presetTexts = {{"quorvane.auto-preset.has", "1"}};
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertEndpoint(changed, e); }),
              (Lines{"state render usb 1", "property render usb FriendlyName", "property render usb HasAutoPreset"}));
    changed.presetTexts = {{"quorvane.auto-preset.has", "1"}, {"quorvane.auto-preset.enable", "0"}};
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertEndpoint(changed, e); }),
              (Lines{"property render usb EnableAutoPreset"}))
        << "only the key whose value changed";
}

TEST_F(ServerMirrorTest, RemovedEndpointTurnsNotPresentStaysKnownAndComesBackAsAdded) {
    EXPECT_EQ(After([&](auto& e) { mirror.RemoveEndpoint(eRender, 2, e); }),
              (Lines{"state render other 4", "removed render other"}));
    const PulseEndpoint* known = mirror.FindEndpoint(eRender, "other");
    ASSERT_NE(known, nullptr);
    EXPECT_FALSE(known->present);
    EXPECT_EQ(After([&](auto& e) { mirror.RemoveEndpoint(eRender, 2, e); }), Lines{})
        << "an index removed twice, or unknown, says nothing";
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertEndpoint(Sink(7, "other"), e); }),
              (Lines{"added render other", "state render other 1"}));
    EXPECT_EQ(mirror.Endpoints().size(), 2u) << "the same endpoint, not a second one";
}

TEST_F(ServerMirrorTest, DefaultIsAnnouncedForEveryRoleAndAMonitorIsNoCaptureDefault) {
    EXPECT_EQ(mirror.DefaultEndpoint(eRender), "spk");
    EXPECT_EQ(mirror.DefaultEndpoint(eCapture), "") << "spk.monitor is not a capture endpoint";
    EXPECT_EQ(After([&](auto& e) { mirror.SetServerDefaults("other", "spk.monitor", e); }),
              (Lines{"default render 0 other", "default render 1 other", "default render 2 other"}));
    EXPECT_EQ(After([&](auto& e) { mirror.RemoveEndpoint(eRender, 2, e); }),
              (Lines{"state render other 4", "removed render other", "default render 0 ", "default render 1 ",
                     "default render 2 "}))
        << "no default any more";
}

TEST_F(ServerMirrorTest, UnlinkedStreamIsCreatedOnlyWhenLinkedAsPipeWireShowsIt) {
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertStream(Playback(40, kNoPulseIndex, true), e); }), Lines{})
        << "not linked: no endpoint's session yet";
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertStream(Playback(40, 1, true), e); }), (Lines{"created spk 40@1"}));
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertStream(Playback(40, 1, false), e); }),
              (Lines{"session state spk 40@1 1"}));
    ASSERT_EQ(mirror.StreamsOf(eRender, "spk").size(), 1u);
    EXPECT_TRUE(mirror.StreamsOf(eRender, "other").empty());
}

TEST_F(ServerMirrorTest, MovedStreamIsDisconnectedAtTheOldEndpointAndCreatedAtTheNew) {
    After([&](auto& e) { mirror.UpsertStream(Playback(40, 1), e); });
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertStream(Playback(40, 2), e); }),
              (Lines{"disconnected spk 40@1 0", "created other 40@2"}));
}

TEST_F(ServerMirrorTest, RemovedStreamExpiresAndPropertyChangesAreSessionEvents) {
    After([&](auto& e) { mirror.UpsertStream(Playback(40, 1), e); });
    PulseStream changed = Playback(40, 1);
    changed.applicationName = "renamed";
    changed.iconName = "bell";
    changed.channelVolumes = {0.5f, 1.0f};
    changed.muted = true;
    // The simple volume is the average of the channels; only the first
    // channel changed.
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertStream(changed, e); }),
              (Lines{"name spk 40@1 renamed", "icon spk 40@1 bell", "volume spk 40@1 0.75 muted",
                     "channels spk 40@1 0.5 1 changed 0"}));
    changed.channelVolumes = {0.25f, 0.25f};
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertStream(changed, e); }),
              (Lines{"volume spk 40@1 0.25 muted", "channels spk 40@1 0.25 0.25 changed -1"}))
        << "more than one channel changed";
    EXPECT_EQ(After([&](auto& e) { mirror.RemoveStream(eRender, 40, e); }), (Lines{"session state spk 40@1 2"}));
    EXPECT_EQ(mirror.FindStream(eRender, 40), nullptr);
}

// A restart of the server is no new device: its endpoints are kept through
// the loss, those that come back are compared with what they were, and only
// those that do not come back are gone.
TEST_F(ServerMirrorTest, LosingTheServerDisconnectsSessionsAndDropsDefaultsButKeepsEndpointsForItsReturn) {
    After([&](auto& e) {
        mirror.UpsertStream(Playback(40, 1), e);
        mirror.UpsertStream(Playback(41, kNoPulseIndex), e);
    });
    // An unlinked stream has no session to disconnect; the render default
    // goes for three roles, and capture had none.
    EXPECT_EQ(After([&](auto& e) { mirror.LoseServer(e); }),
              (Lines{"disconnected spk 40@1 1", "default render 0 ", "default render 1 ", "default render 2 "}));
    EXPECT_EQ(mirror.DefaultEndpoint(eRender), "");
    EXPECT_EQ(mirror.FindStream(eRender, 40), nullptr);
    EXPECT_TRUE(mirror.AwaitsEndpoints());

    // The returned server numbers anew and names its default before its
    // sinks; "spk" comes back as it was, "usb" is new.
    EXPECT_EQ(After([&](auto& e) { mirror.SetServerDefaults("spk", "", e); }), Lines{});
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertEndpoint(Sink(7, "spk"), e); }),
              (Lines{"default render 0 spk", "default render 1 spk", "default render 2 spk"}));
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertEndpoint(Sink(8, "usb"), e); }),
              (Lines{"added render usb", "state render usb 1"}));
    ASSERT_NE(mirror.FindPresentEndpoint(eRender, 7), nullptr);
    EXPECT_TRUE(mirror.AwaitsEndpoints()) << "other has not come back";
    EXPECT_EQ(After([&](auto& e) { mirror.ForgetAwaitedEndpoints(e); }),
              (Lines{"state render other 4", "removed render other"}));
    EXPECT_FALSE(mirror.AwaitsEndpoints());
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertEndpoint(Sink(9, "other"), e); }),
              (Lines{"added render other", "state render other 1"}))
        << "once gone, its return is a new device";

    // Coming back changed tells what changed.
    After([&](auto& e) { mirror.LoseServer(e); });
    PulseEndpoint unplugged = Sink(10, "usb", DEVICE_STATE_UNPLUGGED);
    unplugged.description = "USB Headset";
    EXPECT_EQ(After([&](auto& e) { mirror.UpsertEndpoint(unplugged, e); }),
              (Lines{"state render usb 8", "property render usb FriendlyName"}));
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
