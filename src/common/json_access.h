#pragma once
// Checked reads of dynamic values. Anything that came from the server, a
// file or a store is read through these: a wrong kind or a missing member
// yields "absent" (nullopt / null), never an exception.
#include <cstdint>
#include <optional>
#include <string>

#include "common/json.h"

namespace qdx::json {

// The member under key of an object; null when value is not an object or
// has no such member.
const Json& member(const Json& value, const std::string& key);
// The element at index of an array; null when out of range or not an array.
const Json& element(const Json& value, std::size_t index);

// The value as an integer, the way the platform's integerValue reads it:
// integers as they are, floats truncated toward zero, booleans 0 or 1,
// strings by their leading decimal integer ("12abc" -> 12, "abc" -> 0);
// nullopt for null, arrays and objects.
std::optional<std::int64_t> asInteger(const Json& value);
// The value as a double (floatValue / doubleValue): numbers, booleans,
// strings by their leading number; nullopt otherwise.
std::optional<double> asDouble(const Json& value);
// The value when it is a string; nullopt otherwise.
std::optional<std::string> asString(const Json& value);

// The integer under key, or nullopt (member() then asInteger()).
std::optional<std::int64_t> integerMember(const Json& value, const std::string& key);
// The string under key when it is a string, or nullopt.
std::optional<std::string> stringMember(const Json& value, const std::string& key);
// The array's element count, or 0 when value is not an array.
std::size_t count(const Json& value);

// The platform's "%@" description of a value: strings as they are, numbers
// in their shortest form (123.0 as "123"), booleans as 1 or 0, null as
// "(null)", containers as compact JSON text.
std::string describe(const Json& value);

}  // namespace qdx::json
