#pragma once
// Time stamps as the wire and the stores write them.
#include <cstdint>
#include <string>

namespace qdx {

// Milliseconds since 1970 for a clock reading in seconds, written with
// "%.f": rounded, no decimal point (1700000000.4996 -> "1700000000500").
std::string millisString(double secondsSince1970);
// Whole seconds since 1970, the fraction truncated.
std::int64_t wholeSeconds(double secondsSince1970);

}  // namespace qdx
