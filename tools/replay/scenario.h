// A replay scenario: the machine (endpoints, processes) and what happens on
// it over time (sessions that start, change and end, files a player opens,
// endpoint changes). Read from JSON; every field is checked, and a scenario
// that does not hold together is refused with the place of the fault.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qv::replay {

struct EndpointSpec {
    std::string id;
    bool capture = false;
    std::string name;
    uint32_t state = 1;  // DEVICE_STATE_*
    bool isDefault = false;
    // The automatic preset's values; absent ones stay unset on the endpoint.
    std::optional<uint32_t> hasAutoPreset, enableAutoPreset, featureMode;
    std::optional<std::string> contentType;
};

struct ProcessSpec {
    uint32_t pid = 0;
    std::string image;
    uint32_t parent = 0;
};

// What a player has open: the file and the facts of its first audio stream.
struct FileSpec {
    uint32_t pid = 0;
    std::string path;
    bool video = false;
    uint32_t channels = 2, rate = 44100, bits = 16;
    double duration = 0;
    // The first seconds of sound, made up: "speech" (levels that jump from
    // second to second, channels alike), "steady" (one level) or "wide"
    // (channels that differ). Empty: no samples.
    std::string samples;
};

// In the order of the event names the reader knows (scenario.cpp).
enum class EventKind {
    Start,
    State,
    End,
    Exit,
    EndpointState,
    Property,
    Default,
    File,
    Disconnect,
    Remove,
    Name,
    Volume,
    Stop
};

struct Event {
    uint32_t at = 0;  // milliseconds from the start
    EventKind kind = EventKind::Stop;
    std::string session, endpoint;
    uint32_t pid = 0;
    int32_t state = 0;
    std::string key;    // Property: has, enable, mode or contentType
    std::string value;  // Property
    FileSpec file;
    // Start: the session is there before the classifier starts, as when it
    // starts on a machine that already plays.
    bool existing = false;
    int32_t reason = 0;  // Disconnect: AudioSessionDisconnectReason
    std::string name;    // Name: the session's new display name
    float volume = 1;    // Volume
    bool mute = false;   // Volume
};

// The host at the other end of the host pipe: one that hears and answers
// every message, none at all (nobody has the pipe's name), or one that has
// the name but never takes a message off the pipe nor answers.
enum class HostKind { Answers, Absent, Silent };

struct Scenario {
    std::string description;
    // The content-discrimination plug-in beside the program: the build name
    // of the reference plug-in (ZKAICC64) or of one of its doubles; empty
    // for none, when the rules decide alone.
    std::string plugin;
    // The registry's DWORD "AICCNNOnly" under HKLM "Software\Quorvane",
    // which lets the network overrule every result; unset when absent.
    std::optional<uint32_t> networkOnly;
    HostKind host = HostKind::Answers;
    std::vector<EndpointSpec> endpoints;
    std::vector<std::string> classify;  // endpoint ids given to the classifier
    std::vector<ProcessSpec> processes;
    std::vector<Event> events;  // in time order
    // The words the host should hear, in order ("" for a withdrawal); only
    // checked when the replay is asked to check.
    std::optional<std::vector<std::string>> expect;
};

// Null with a message that names the field at fault.
std::optional<Scenario> ParseScenario(const std::string& json, std::string& error);

}  // namespace qv::replay
