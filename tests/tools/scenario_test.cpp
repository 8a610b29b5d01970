// The replay's scenario reader: a scenario that does not hold together is
// refused with the place of the fault, never half-read.
#include <string>

#include <gtest/gtest.h>

#include "scenario.h"

namespace qv::replay {
namespace {

const char* kValid = R"({
  "endpoints": [
    {"id": "spk", "default": true, "autoPreset": {"has": 1, "enable": 1, "mode": 0}},
    {"id": "mic", "flow": "capture"}
  ],
  "processes": [{"pid": 7, "image": "vlc.exe"}],
  "events": [
    {"at": 900, "stop": {}},
    {"at": 100, "start": {"session": "a", "endpoint": "spk", "pid": 7}},
    {"at": 300, "file": {"pid": 7, "path": "film.mkv", "video": true, "samples": "speech"}},
    {"at": 500, "property": {"endpoint": "spk", "key": "contentType", "value": "Movie"}}
  ],
  "expect": ["Movie", ""]
})";

// kValid with one piece of text replaced.
std::string With(const std::string& from, const std::string& to) {
    std::string text = kValid;
    auto at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) text.replace(at, from.size(), to);
    return text;
}

TEST(Scenario, AValidScenarioIsReadWithItsDefaultsAndInTimeOrder) {
    std::string error;
    auto scenario = ParseScenario(kValid, error);
    ASSERT_TRUE(scenario) << error;
    ASSERT_EQ(scenario->endpoints.size(), 2u);
    EXPECT_EQ(scenario->endpoints[0].name, "spk") << "the name defaults to the id";
    EXPECT_EQ(scenario->endpoints[0].featureMode, 0u);
    EXPECT_FALSE(scenario->endpoints[0].contentType);
    EXPECT_EQ(scenario->classify, std::vector<std::string>{"spk"}) << "render endpoints only, by default";
    ASSERT_EQ(scenario->events.size(), 4u);
    EXPECT_EQ(scenario->events.front().kind, EventKind::Start);
    EXPECT_EQ(scenario->events.back().kind, EventKind::Stop);
    EXPECT_EQ(scenario->events[1].file.channels, 2u);
    EXPECT_EQ(scenario->events[2].value, "Movie");
    EXPECT_EQ(scenario->expect, (std::vector<std::string>{"Movie", ""}));
}

TEST(Scenario, AFaultIsRefusedWithItsPlace) {
    const std::pair<std::string, const char*> faults[] = {
        {"{", "not valid JSON"},
        {"[]", "not a JSON object"},
        {With(R"("flow": "capture")", R"("flow": "sideways")"), "endpoints[1].flow"},
        {With(R"({"id": "mic")", R"({"id": "spk")"), "given twice"},
        {With(R"("endpoint": "spk", "pid")", R"("endpoint": "hdmi", "pid")"), "events[1].start"},
        {With(R"("samples": "speech")", R"("samples": "loud")"), ".samples"},
        {With(R"("key": "contentType")", R"("key": "volume")"), ".key"},
        // Numbers from outside are bounded.
        {With(R"("pid": 7, "image")", R"("pid": -7, "image")"), "processes[0].pid"},
        {With(R"("pid": 7, "image")", R"("pid": 1.5, "image")"), "processes[0].pid"},
        {With(R"("at": 900)", R"("at": 99999999999)"), "events[0].at"},
        {With(R"("video": true)", R"("video": true, "channels": 4096)"), ".channels"},
        // A plug-in is one the build makes, never a path from outside.
        {With(R"("endpoints": [)", R"("plugin": "../ZKAICC64", "endpoints": [)"), "plugin: "},
        {With(R"("endpoints": [)", R"("host": "deaf", "endpoints": [)"), "host: "},
        // Only a player's open file is ever seen, and an existing session is there from the start.
        {With(R"("image": "vlc.exe")", R"("image": "zoom.exe")"), "events[2].file.pid"},
        {With(R"("pid": 7}})", R"("pid": 7, "existing": true}})"), "events[1].start.existing"},
        // An event says exactly one thing, and the last one stops.
        {With(R"({"at": 900, "stop": {}})", R"({"at": 900})"), "says nothing happens"},
        {With(R"("stop": {})", R"("stop": {}, "end": {"session": "a"})"), "more than one"},
        {With(R"({"at": 900, "stop": {}})", R"({"at": 50, "stop": {}})"), "must end with a stop"},
    };
    for (const auto& [json, place] : faults) {
        std::string error;
        EXPECT_FALSE(ParseScenario(json, error)) << "accepted: " << json;
        EXPECT_NE(error.find(place), std::string::npos) << "\"" << error << "\" lacks \"" << place << "\"";
    }
}

}  // namespace
}  // namespace qv::replay
