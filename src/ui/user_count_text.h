#pragma once
// The user count of an image-and-text item: "use_count" is already in tens
// of thousands ("万"), shown with one decimal only when it has a fraction.
#include <string>

#include "common/json.h"

namespace qdx {

// "%.1f万人正在使用" of the count read as a 32-bit float f when f differs from
// the count read as an integer i (or f is NaN), else "%ld万人正在使用" of i.
// An absent or unreadable count reads as 0.
std::string userCountText(const Json& useCount);

}  // namespace qdx
