#include "web/property_from_json.h"

#include <cstdint>
#include <string>

namespace qv {

namespace {

template <class T, class V>
bool SetAs(_observable_property_base& property, V&& value) {
    auto* typed = dynamic_cast<observable_property_base<T>*>(&property);
    if (!typed) return false;
    typed->set(static_cast<T>(std::forward<V>(value)));
    return true;
}

// A 64-bit JSON integer cut to its low 32 bits, for either signedness; a
// float property takes the number itself.
bool SetInteger(_observable_property_base& property, uint64_t bits, double number) {
    const auto low = static_cast<uint32_t>(bits);
    return SetAs<uint32_t>(property, low) || SetAs<int32_t>(property, static_cast<int32_t>(low)) ||
           SetAs<float>(property, number);
}

}  // namespace

bool SetPropertyFromJson(_observable_property_base& property, const nlohmann::json& value) {
    switch (value.type()) {
        case nlohmann::json::value_t::string: return SetAs<std::string>(property, value.get_ref<const std::string&>());
        case nlohmann::json::value_t::boolean: return SetAs<bool>(property, value.get<bool>());
        case nlohmann::json::value_t::number_integer:
            return SetInteger(property, static_cast<uint64_t>(value.get<int64_t>()), value.get<double>());
        case nlohmann::json::value_t::number_unsigned:
            return SetInteger(property, value.get<uint64_t>(), value.get<double>());
        case nlohmann::json::value_t::number_float: return SetAs<float>(property, value.get<double>());
        default: return SetAs<std::string>(property, value.dump());
    }
}

}  // namespace qv
