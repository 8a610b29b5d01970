#include "platform/registry_json.h"

#include <cstdint>
#include <limits>

#include <nlohmann/json.hpp>

#include "core/text.h"

namespace qv {

namespace {

using nlohmann::json;

// Root object, key objects, value objects and their members: anything
// deeper is no registry file.
constexpr int kMaxDepth = 3;

bool ReadHex(const std::string& hex, std::vector<uint8_t>& bytes) {
    if (hex.size() % 2 != 0) return false;
    auto digit = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    bytes.clear();
    bytes.reserve(hex.size() / 2);
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        int high = digit(hex[i]);
        int low = digit(hex[i + 1]);
        if (high < 0 || low < 0) return false;
        bytes.push_back(static_cast<uint8_t>(high * 16 + low));
    }
    return true;
}

std::string WriteHex(const std::vector<uint8_t>& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(bytes.size() * 2);
    for (uint8_t b : bytes) {
        hex.push_back(digits[b >> 4]);
        hex.push_back(digits[b & 15]);
    }
    return hex;
}

std::vector<uint8_t> DwordBytes(uint32_t value) {
    return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value >> 16),
            static_cast<uint8_t>(value >> 24)};
}

std::vector<uint8_t> StringBytes(std::wstring_view text) {
    std::vector<uint8_t> bytes = WideToUtf16Le(text);
    bytes.push_back(0);
    bytes.push_back(0);
    return bytes;
}

bool ReadValue(const json& item, RegistryValue& value) {
    if (item.is_number_unsigned()) {
        const auto n = item.get<uint64_t>();
        if (n > std::numeric_limits<uint32_t>::max()) return false;
        value.type = kRegDword;
        value.data = DwordBytes(static_cast<uint32_t>(n));
        return true;
    }
    if (item.is_number_integer()) {
        // Negative: a hand-written -1 means 0xFFFFFFFF.
        const auto n = item.get<int64_t>();
        if (n < std::numeric_limits<int32_t>::min()) return false;
        value.type = kRegDword;
        value.data = DwordBytes(static_cast<uint32_t>(static_cast<int32_t>(n)));
        return true;
    }
    if (item.is_string()) {
        value.type = kRegSz;
        value.data = StringBytes(Utf8ToWide(item.get_ref<const std::string&>()));
        return true;
    }
    if (item.is_object()) {
        if (item.size() != 2 || !item.contains("type") || !item.contains("hex")) return false;
        const json& type = item["type"];
        const json& hex = item["hex"];
        if (!type.is_number_unsigned() || type.get<uint64_t>() > std::numeric_limits<uint32_t>::max()) return false;
        if (!hex.is_string()) return false;
        value.type = static_cast<uint32_t>(type.get<uint64_t>());
        return ReadHex(hex.get_ref<const std::string&>(), value.data);
    }
    return false;
}

json WriteValue(const RegistryValue& value) {
    if (value.type == kRegDword && value.data.size() == 4) {
        return value.data[0] | (value.data[1] << 8) | (value.data[2] << 16) | (uint32_t{value.data[3]} << 24);
    }
    if (value.type == kRegSz && value.data.size() >= 2 && value.data.size() % 2 == 0) {
        // Only text that reads back to the very same bytes is written as a
        // string: one terminating null, no other null, no lone surrogate.
        std::wstring text = Utf16LeToWide(value.data.data(), value.data.size() - 2);
        if (text.find(L'\0') == std::wstring::npos && StringBytes(text) == value.data) return WideToUtf8(text);
    }
    return json{{"type", value.type}, {"hex", WriteHex(value.data)}};
}

}  // namespace

bool ReadRegistryRootJson(std::string_view text, CRegistryStore& store, RegistryRoot root, std::string& problem) {
    store.ClearRoot(root);
    bool tooDeep = false;
    json::parser_callback_t limitDepth = [&tooDeep](int depth, json::parse_event_t event, json&) {
        if ((event == json::parse_event_t::object_start || event == json::parse_event_t::array_start) &&
            depth >= kMaxDepth) {
            tooDeep = true;
            return false;
        }
        return !tooDeep;
    };
    json document = json::parse(text.begin(), text.end(), limitDepth, /*allow_exceptions=*/false);
    if (tooDeep) {
        problem = "nested too deeply";
        return false;
    }
    if (document.is_discarded()) {
        problem = "not valid JSON";
        return false;
    }
    if (!document.is_object()) {
        problem = "not a JSON object";
        return false;
    }
    for (const auto& [path, values] : document.items()) {
        if (!values.is_object()) {
            problem = "key \"" + path + "\" is not an object of values";
            store.ClearRoot(root);
            return false;
        }
        // Two spellings of one key in one file come together.
        RegistryKeyData& key = store.PutKey(root, Utf8ToWide(path));
        for (const auto& [name, item] : values.items()) {
            RegistryValue value;
            value.name = Utf8ToWide(name);
            if (!ReadValue(item, value)) {
                problem = "value \"" + name + "\" of key \"" + path + "\" is neither a DWORD, a string nor {type, hex}";
                store.ClearRoot(root);
                return false;
            }
            key.values.insert_or_assign(ToLowerWide(value.name), std::move(value));
        }
    }
    return true;
}

std::string WriteRegistryRootJson(const CRegistryStore& store, RegistryRoot root) {
    const auto& keys = store.Keys(root);
    json document = json::object();
    for (auto it = keys.begin(); it != keys.end(); ++it) {
        const RegistryKeyData& key = it->second;
        if (key.values.empty()) {
            // An empty key that has subkeys comes back with them; the root
            // always exists.
            if (it->first.empty()) continue;
            auto next = keys.lower_bound(it->first + L"\\");
            if (next != keys.end() && next->first.compare(0, it->first.size() + 1, it->first + L"\\") == 0) continue;
        }
        json& values = document[WideToUtf8(key.path)];
        values = json::object();
        for (const auto& [lower, value] : key.values) values[WideToUtf8(value.name)] = WriteValue(value);
    }
    return document.dump(4) + "\n";
}

}  // namespace qv
