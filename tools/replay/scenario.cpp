#include "scenario.h"

#include <algorithm>
#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include "classify/audio_session_classifier.h"
#include "core/path.h"
#include "core/text.h"

namespace qv::replay {

namespace {

using nlohmann::json;

struct Fault {
    std::string message;
};

[[noreturn]] void Fail(const std::string& where, const std::string& what) { throw Fault{where + ": " + what}; }

const json& Member(const json& object, const char* key, const std::string& where) {
    if (!object.is_object() || !object.contains(key)) Fail(where, std::string("\"") + key + "\" is missing");
    return object.at(key);
}

std::string Text(const json& value, const std::string& where) {
    if (!value.is_string()) Fail(where, "wants a text");
    return value.get<std::string>();
}

uint32_t Number(const json& value, const std::string& where, uint64_t max = 0xFFFFFFFFu) {
    if (!value.is_number_integer() || value.get<int64_t>() < 0 || value.get<uint64_t>() > max)
        Fail(where, "wants a whole number from 0 to " + std::to_string(max));
    return static_cast<uint32_t>(value.get<uint64_t>());
}

std::optional<uint32_t> OptionalNumber(const json& object, const char* key, const std::string& where) {
    if (!object.contains(key)) return std::nullopt;
    return Number(object.at(key), where + "." + key);
}

uint32_t EndpointState(const std::string& text, const std::string& where) {
    if (text == "active") return 1;
    if (text == "disabled") return 2;
    if (text == "notpresent") return 4;
    if (text == "unplugged") return 8;
    Fail(where, "is \"" + text + "\"; states are active, disabled, notpresent, unplugged");
}

int32_t SessionState(const std::string& text, const std::string& where) {
    if (text == "inactive") return 0;
    if (text == "active") return 1;
    if (text == "expired") return 2;
    Fail(where, "is \"" + text + "\"; session states are inactive, active, expired");
}

int32_t DisconnectReason(const std::string& text, const std::string& where) {
    static const char* reasons[] = {"removal", "shutdown", "format", "logoff", "disconnected", "exclusive"};
    for (int32_t i = 0; i < static_cast<int32_t>(std::size(reasons)); ++i)
        if (text == reasons[i]) return i;
    Fail(where, "is \"" + text + "\"; reasons are removal, shutdown, format, logoff, disconnected, exclusive");
}

bool Flag(const json& object, const char* key, const std::string& where) {
    if (!object.contains(key)) return false;
    if (!object.at(key).is_boolean()) Fail(where + "." + key, "wants true or false");
    return object.at(key).get<bool>();
}

// The model only learns which file a process holds open when the name rules
// take that process for a player (Movie or Music); for any other process the
// helper that lists open files never runs, so such a fact cannot happen.
bool IsPlayer(const std::string& image) {
    const std::wstring path = Utf8ToWide(image);
    PathParts parts;
    CClassification rule;
    return SplitPath(path, parts, 3, path.size() + 1) && ClassifyByImageName(parts.name, rule) &&
           (rule.Category == CategoryMovie || rule.Category == CategoryMusic);
}

EndpointSpec ParseEndpoint(const json& e, const std::string& where) {
    EndpointSpec spec;
    spec.id = Text(Member(e, "id", where), where + ".id");
    if (spec.id.empty()) Fail(where + ".id", "is empty");
    const std::string flow = e.contains("flow") ? Text(e.at("flow"), where + ".flow") : "render";
    if (flow != "render" && flow != "capture") Fail(where + ".flow", "is render or capture");
    spec.capture = flow == "capture";
    spec.name = e.contains("name") ? Text(e.at("name"), where + ".name") : spec.id;
    if (e.contains("state")) spec.state = EndpointState(Text(e.at("state"), where + ".state"), where + ".state");
    spec.isDefault = Flag(e, "default", where);
    if (e.contains("autoPreset")) {
        const json& p = e.at("autoPreset");
        const std::string at = where + ".autoPreset";
        if (!p.is_object()) Fail(at, "wants an object");
        spec.hasAutoPreset = OptionalNumber(p, "has", at);
        spec.enableAutoPreset = OptionalNumber(p, "enable", at);
        spec.featureMode = OptionalNumber(p, "mode", at);
        if (p.contains("contentType")) spec.contentType = Text(p.at("contentType"), at + ".contentType");
    }
    return spec;
}

FileSpec ParseFile(const json& f, const std::string& where) {
    FileSpec file;
    file.pid = Number(Member(f, "pid", where), where + ".pid");
    file.path = Text(Member(f, "path", where), where + ".path");
    file.video = Flag(f, "video", where);
    if (f.contains("channels")) file.channels = Number(f.at("channels"), where + ".channels", 32);
    if (f.contains("rate")) file.rate = Number(f.at("rate"), where + ".rate", 768000);
    if (f.contains("bits")) file.bits = Number(f.at("bits"), where + ".bits", 64);
    if (f.contains("duration")) {
        if (!f.at("duration").is_number() || f.at("duration").get<double>() < 0)
            Fail(where + ".duration", "wants seconds, 0 or more");
        file.duration = f.at("duration").get<double>();
    }
    if (f.contains("samples")) {
        file.samples = Text(f.at("samples"), where + ".samples");
        if (file.samples != "speech" && file.samples != "steady" && file.samples != "wide")
            Fail(where + ".samples", "is speech, steady or wide");
    }
    return file;
}

Event ParseEvent(const json& e, const std::string& where, const std::set<std::string>& endpoints,
                 const std::map<uint32_t, std::string>& images) {
    Event event;
    event.at = Number(Member(e, "at", where), where + ".at", 24u * 3600 * 1000);
    static const char* kinds[] = {"start", "state",      "end",    "exit", "endpointState", "property", "default",
                                  "file",  "disconnect", "remove", "name", "volume",        "stop"};
    int found = -1;
    for (int i = 0; i < static_cast<int>(std::size(kinds)); ++i) {
        if (!e.contains(kinds[i])) continue;
        if (found >= 0) Fail(where, "has more than one of start, state, end, exit, ... ");
        found = i;
    }
    if (found < 0)
        Fail(where,
             "says nothing happens: give one of start, state, end, exit, endpointState, "
             "property, default, file, disconnect, remove, name, volume, stop");
    event.kind = static_cast<EventKind>(found);
    const std::string at = where + "." + kinds[found];
    const json& body = e.at(kinds[found]);
    if (!body.is_object()) Fail(at, "wants an object");
    auto endpoint = [&](const json& b) {
        std::string id = Text(Member(b, "endpoint", at), at + ".endpoint");
        if (!endpoints.contains(id)) Fail(at + ".endpoint", "\"" + id + "\" is not an endpoint of the scenario");
        return id;
    };
    switch (event.kind) {
        case EventKind::Start:
            event.session = Text(Member(body, "session", at), at + ".session");
            event.endpoint = endpoint(body);
            event.pid = Number(Member(body, "pid", at), at + ".pid");
            event.state = body.contains("state") ? SessionState(Text(body.at("state"), at), at + ".state") : 1;
            event.existing = Flag(body, "existing", at);
            if (event.existing && event.at != 0) Fail(at + ".existing", "wants the event at 0, before the start");
            break;
        case EventKind::State:
            event.session = Text(Member(body, "session", at), at + ".session");
            event.state = SessionState(Text(Member(body, "state", at), at + ".state"), at + ".state");
            break;
        case EventKind::End: event.session = Text(Member(body, "session", at), at + ".session"); break;
        case EventKind::Exit: event.pid = Number(Member(body, "pid", at), at + ".pid"); break;
        case EventKind::EndpointState:
            event.endpoint = endpoint(body);
            event.state = static_cast<int32_t>(EndpointState(Text(Member(body, "state", at), at), at + ".state"));
            break;
        case EventKind::Property: {
            event.endpoint = endpoint(body);
            event.key = Text(Member(body, "key", at), at + ".key");
            if (event.key != "has" && event.key != "enable" && event.key != "mode" && event.key != "contentType")
                Fail(at + ".key", "is has, enable, mode or contentType");
            const json& v = Member(body, "value", at);
            if (event.key == "contentType")
                event.value = Text(v, at + ".value");
            else
                event.value = std::to_string(Number(v, at + ".value"));
            break;
        }
        case EventKind::Default: event.endpoint = endpoint(body); break;
        case EventKind::File: {
            event.file = ParseFile(body, at);
            const auto image = images.find(event.file.pid);
            if (image == images.end()) Fail(at + ".pid", "is not a process of the scenario");
            if (!IsPlayer(image->second))
                Fail(at + ".pid", "\"" + image->second + "\" is not a player, so no file of it is ever seen");
            break;
        }
        case EventKind::Disconnect:
            event.session = Text(Member(body, "session", at), at + ".session");
            event.reason = DisconnectReason(Text(Member(body, "reason", at), at + ".reason"), at + ".reason");
            break;
        case EventKind::Remove: event.endpoint = endpoint(body); break;
        case EventKind::Name:
            event.session = Text(Member(body, "session", at), at + ".session");
            event.name = Text(Member(body, "name", at), at + ".name");
            break;
        case EventKind::Volume: {
            event.session = Text(Member(body, "session", at), at + ".session");
            const json& v = Member(body, "volume", at);
            if (!v.is_number() || v.get<double>() < 0 || v.get<double>() > 1)
                Fail(at + ".volume", "wants a level from 0 to 1");
            event.volume = v.get<float>();
            event.mute = Flag(body, "mute", at);
            break;
        }
        case EventKind::Stop: break;
    }
    return event;
}

Scenario Parse(const json& root) {
    if (!root.is_object()) Fail("the scenario", "is not a JSON object");
    Scenario scenario;
    if (root.contains("description")) scenario.description = Text(root.at("description"), "description");
    if (root.contains("plugin")) {
        // Only what the build makes: a name from outside never becomes a
        // path of its own.
        static const std::set<std::string> plugins{"ZKAICC64",
                                                   "zkaicc64_double_no_run",
                                                   "zkaicc64_double_movie",
                                                   "zkaicc64_double_music",
                                                   "zkaicc64_double_voice",
                                                   "zkaicc64_double_nan"};
        scenario.plugin = Text(root.at("plugin"), "plugin");
        if (!plugins.contains(scenario.plugin))
            Fail("plugin", "is \"" + scenario.plugin + "\"; plug-ins are ZKAICC64 and its doubles zkaicc64_double_" +
                               "no_run, _movie, _music, _voice, _nan");
    }
    if (root.contains("host")) {
        const std::string host = Text(root.at("host"), "host");
        if (host == "absent")
            scenario.host = HostKind::Absent;
        else if (host == "silent")
            scenario.host = HostKind::Silent;
        else if (host != "answers")
            Fail("host", "is \"" + host + "\"; a host answers, is absent or is silent");
    }
    if (root.contains("AICCNNOnly")) scenario.networkOnly = Number(root.at("AICCNNOnly"), "AICCNNOnly");
    const json& endpoints = Member(root, "endpoints", "the scenario");
    if (!endpoints.is_array() || endpoints.empty()) Fail("endpoints", "wants a list of at least one endpoint");
    std::set<std::string> ids;
    for (std::size_t i = 0; i < endpoints.size(); ++i) {
        EndpointSpec spec = ParseEndpoint(endpoints[i], "endpoints[" + std::to_string(i) + "]");
        if (!ids.insert(spec.id).second) Fail("endpoints[" + std::to_string(i) + "].id", "is given twice");
        scenario.endpoints.push_back(spec);
    }
    if (root.contains("classify")) {
        const json& c = root.at("classify");
        if (!c.is_array()) Fail("classify", "wants a list of endpoint ids");
        for (std::size_t i = 0; i < c.size(); ++i) {
            std::string id = Text(c[i], "classify[" + std::to_string(i) + "]");
            if (!ids.contains(id)) Fail("classify[" + std::to_string(i) + "]", "\"" + id + "\" is not an endpoint");
            scenario.classify.push_back(id);
        }
    } else {
        for (const EndpointSpec& e : scenario.endpoints)
            if (!e.capture) scenario.classify.push_back(e.id);
    }
    std::map<uint32_t, std::string> images;  // of the processes, by pid
    if (root.contains("processes")) {
        const json& p = root.at("processes");
        if (!p.is_array()) Fail("processes", "wants a list");
        for (std::size_t i = 0; i < p.size(); ++i) {
            const std::string where = "processes[" + std::to_string(i) + "]";
            ProcessSpec spec;
            spec.pid = Number(Member(p[i], "pid", where), where + ".pid");
            spec.image = Text(Member(p[i], "image", where), where + ".image");
            if (spec.pid == 0 || !images.emplace(spec.pid, spec.image).second)
                Fail(where + ".pid", "is 0 or given twice");
            if (p[i].contains("parent")) spec.parent = Number(p[i].at("parent"), where + ".parent");
            scenario.processes.push_back(spec);
        }
    }
    const json& events = Member(root, "events", "the scenario");
    if (!events.is_array()) Fail("events", "wants a list");
    for (std::size_t i = 0; i < events.size(); ++i)
        scenario.events.push_back(ParseEvent(events[i], "events[" + std::to_string(i) + "]", ids, images));
    if (root.contains("expect")) {
        const json& e = root.at("expect");
        if (!e.is_array()) Fail("expect", "wants a list of words");
        std::vector<std::string> words;
        for (std::size_t i = 0; i < e.size(); ++i) words.push_back(Text(e[i], "expect[" + std::to_string(i) + "]"));
        scenario.expect = words;
    }
    std::stable_sort(scenario.events.begin(), scenario.events.end(),
                     [](const Event& a, const Event& b) { return a.at < b.at; });
    if (scenario.events.empty() || scenario.events.back().kind != EventKind::Stop)
        Fail("events", "must end with a stop, so that the replay knows when it is over");
    return scenario;
}

}  // namespace

std::optional<Scenario> ParseScenario(const std::string& text, std::string& error) {
    try {
        return Parse(json::parse(text));
    } catch (const Fault& fault) {
        error = fault.message;
    } catch (const json::exception& e) {
        error = std::string("not valid JSON: ") + e.what();
    }
    return std::nullopt;
}

}  // namespace qv::replay
