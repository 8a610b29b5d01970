// Sets a property, found by name, from a JSON value of the add-on.
#pragma once

#include <nlohmann/json.hpp>

#include "core/observable.h"

namespace qv {

// The JSON value's own type picks the set: text for a string, the bool for
// a boolean, the number cut to 32 bits for an integer, the number as float
// for a floating-point one; null, an object or an array as their compact
// JSON text. There is no conversion between kinds (a "true" string stays
// text), with one exception: a whole number for a float property is taken
// as that float, since a sender writes 120.0 seconds as 120.
//
// False when the property is of another type than the value, which leaves it
// untouched: the sender's mistake must not reach the model.
bool SetPropertyFromJson(_observable_property_base& property, const nlohmann::json& value);

}  // namespace qv
