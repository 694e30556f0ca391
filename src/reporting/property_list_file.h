#pragma once
// Dictionaries kept as XML property-list files (the crash logs). Both
// operations are total: a failure is reported by the result, never thrown.
#include <string>

#include "common/json.h"

namespace qdx {

// Writes dictionary as an XML property list to path, atomically (through
// Env::writeFileAtomically). Strings, integers, floats, booleans,
// arrays and dictionaries are kept with their kinds; null members are
// left out, as a property list cannot hold them. Returns false when
// dictionary is not an object or the file cannot be written.
bool writePropertyListDictionary(const Json& dictionary, const std::string& path);

// The dictionary held by the property-list file at path (a relative path
// resolves against the working directory), or null when the file is
// missing, unreadable, not a property list or not a dictionary.
Json readPropertyListDictionary(const std::string& path);

}  // namespace qdx
