#pragma once
// The SDK's dynamic value type. Internal: no public header carries it, so
// hosts do not inherit nlohmann as a dependency.
#include <nlohmann/json.hpp>

namespace qdx {

// A dynamic, property-list-like value: strings, numbers (integer, float and
// boolean kinds stay distinct), arrays and dictionaries. A JSON null stands
// for "absent" (nil) everywhere in the SDK: stores never hold a null.
using Json = nlohmann::ordered_json;

}  // namespace qdx
