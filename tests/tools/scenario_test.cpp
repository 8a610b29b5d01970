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

std::string ErrorOf(const std::string& json) {
    std::string error;
    auto scenario = ParseScenario(json, error);
    EXPECT_FALSE(scenario) << "accepted: " << json;
    return error;
}

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

TEST(Scenario, FaultsNameTheirPlace) {
    EXPECT_NE(ErrorOf("{").find("not valid JSON"), std::string::npos);
    EXPECT_NE(ErrorOf("[]").find("not a JSON object"), std::string::npos);
    EXPECT_NE(ErrorOf(With(R"("flow": "capture")", R"("flow": "sideways")")).find("endpoints[1].flow"),
              std::string::npos);
    EXPECT_NE(ErrorOf(With(R"({"id": "mic")", R"({"id": "spk")")).find("given twice"), std::string::npos);
    EXPECT_NE(ErrorOf(With(R"("endpoint": "spk", "pid")", R"("endpoint": "hdmi", "pid")")).find("events[1].start"),
              std::string::npos);
    EXPECT_NE(ErrorOf(With(R"("samples": "speech")", R"("samples": "loud")")).find(".samples"), std::string::npos);
    EXPECT_NE(ErrorOf(With(R"("key": "contentType")", R"("key": "volume")")).find(".key"), std::string::npos);
}

TEST(Scenario, NumbersFromOutsideAreBounded) {
    EXPECT_NE(ErrorOf(With(R"("pid": 7, "image")", R"("pid": -7, "image")")).find("processes[0].pid"),
              std::string::npos);
    EXPECT_NE(ErrorOf(With(R"("pid": 7, "image")", R"("pid": 1.5, "image")")).find("processes[0].pid"),
              std::string::npos);
    EXPECT_NE(ErrorOf(With(R"("at": 900)", R"("at": 99999999999)")).find("events[0].at"), std::string::npos);
    EXPECT_NE(ErrorOf(With(R"("video": true)", R"("video": true, "channels": 4096)")).find(".channels"),
              std::string::npos);
}

TEST(Scenario, AnEventSaysExactlyOneThingAndTheLastOneStops) {
    EXPECT_NE(ErrorOf(With(R"({"at": 900, "stop": {}})", R"({"at": 900})")).find("says nothing happens"),
              std::string::npos);
    EXPECT_NE(ErrorOf(With(R"("stop": {})", R"("stop": {}, "end": {"session": "a"})")).find("more than one"),
              std::string::npos);
    EXPECT_NE(ErrorOf(With(R"({"at": 900, "stop": {}})", R"({"at": 50, "stop": {}})")).find("must end with a stop"),
              std::string::npos);
}

}  // namespace
}  // namespace qv::replay
