#pragma once
// Parsing JSON text into a Json in time linear in the text's length.
//
// Json keeps an object's members in their order of arrival, and its own
// parser inserts each member by a linear search of the ones before it, so an
// object with n members costs n²/2 key comparisons: a hostile answer with a
// few hundred thousand members would take many seconds. This parser builds
// the same value while appending members and finding repeated keys through
// a hash index, so a hostile answer costs what its length costs.
#include <string>
#include <string_view>

#include "common/json.h"

namespace qdx {

// The value of text, exactly as Json::parse would build it: members in
// their first order of arrival, a repeated key keeping its first place and
// its last value. On malformed text (trailing content included) returns a
// discarded value (is_discarded()) and, when error is given, the parser's
// message (also when memory runs out). Never throws.
Json parseJson(std::string_view text, std::string* error = nullptr);

}  // namespace qdx
