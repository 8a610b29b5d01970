#include "orbent_parameters.h"

#include <nlohmann/json.hpp>

namespace orbent {

namespace {

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool DecodeHex(const std::string& text, ParameterValue& value) {
    if (text.size() % 2 != 0 || text.size() / 2 > kLargestValue) return false;
    value.clear();
    value.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = HexDigit(text[i]);
        const int low = HexDigit(text[i + 1]);
        if (high < 0 || low < 0) return false;
        value.push_back(static_cast<uint8_t>(high * 16 + low));
    }
    return true;
}

std::string EncodeHex(const ParameterValue& value) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(value.size() * 2);
    for (uint8_t byte : value) {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 15]);
    }
    return text;
}

}  // namespace

std::string ParameterKey(int32_t first, int32_t second, int32_t third) {
    return std::to_string(first) + "," + std::to_string(second) + "," + std::to_string(third);
}

ParameterTable ParseParameterFile(std::string_view text) {
    ParameterTable table;
    const nlohmann::json root = nlohmann::json::parse(text.begin(), text.end(), nullptr, false);
    if (!root.is_object()) return table;
    for (const auto& [endpoint, parameters] : root.items()) {
        if (!parameters.is_object()) continue;
        EndpointParameters& kept = table[endpoint];
        for (const auto& [key, hex] : parameters.items()) {
            ParameterValue value;
            if (hex.is_string() && DecodeHex(hex.get<std::string>(), value)) kept[key] = std::move(value);
        }
    }
    return table;
}

std::string SerializeParameterFile(const ParameterTable& table) {
    nlohmann::json root = nlohmann::json::object();
    for (const auto& [endpoint, parameters] : table) {
        nlohmann::json& kept = root[endpoint] = nlohmann::json::object();
        for (const auto& [key, value] : parameters) kept[key] = EncodeHex(value);
    }
    // An endpoint id that is no valid UTF-8 is written with replacement
    // characters rather than failing the whole file.
    return root.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace orbent
