// The reference ORBENT64's store of user parameters: per endpoint id (UTF-8),
// per "first,second,third", the value's bytes; kept as a JSON object of
// objects whose values are hex text. Whatever the file holds, reading it
// never fails: a missing, empty or corrupt file is an empty store, and an
// entry that is not hex text of a sane size is left out.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orbent {

using ParameterValue = std::vector<uint8_t>;
using EndpointParameters = std::map<std::string, ParameterValue>;
using ParameterTable = std::map<std::string, EndpointParameters>;

// Larger values are refused on writing and ignored on reading.
inline constexpr std::size_t kLargestValue = 64 * 1024;

std::string ParameterKey(int32_t first, int32_t second, int32_t third);
ParameterTable ParseParameterFile(std::string_view text);
std::string SerializeParameterFile(const ParameterTable& table);

}  // namespace orbent
