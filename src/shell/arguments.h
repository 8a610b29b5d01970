// The command line: every element that reads "/key=value" enters a table; the
// rest is ignored in silence. No argument is required, none is reported.
#pragma once

#include <map>
#include <regex>
#include <string>
#include <vector>

namespace qv {

using ArgumentTable = std::map<std::string, std::string>;

// "^/([^=]+)=(.+)": key up to the first "=", value to the end of the element.
const std::regex& ArgumentPattern();

// Every element, the program path included. Keys are case sensitive; a key
// given twice keeps its last value.
ArgumentTable ParseArguments(const std::vector<std::string>& elements);

// The pieces between "," as a regular expression split gives them.
std::vector<std::string> SplitEndpointIds(const std::string& value);

// The value of a key, or an empty text.
std::string ArgumentValue(const ArgumentTable& table, const std::string& key);

inline constexpr const char* kHostPipeNameKey = "host-pipe-name";
inline constexpr const char* kEndpointIdKey = "endpoint-id";
inline constexpr const char* kExitMutexGuidKey = "exit-mutex-guid";

}  // namespace qv
