#include "ui/user_count_text.h"

#include <cmath>
#include <cstdio>

#include "common/json_access.h"

namespace qdx {

std::string userCountText(const Json& useCount) {
  const auto f = static_cast<float>(json::asDouble(useCount).value_or(0));
  const long i = static_cast<long>(json::asInteger(useCount).value_or(0));
  char text[96];
  if (std::isnan(f) || f != static_cast<float>(i)) {
    std::snprintf(text, sizeof text, "%.1f万人正在使用", static_cast<double>(f));
  } else {
    std::snprintf(text, sizeof text, "%ld万人正在使用", i);
  }
  return text;
}

}  // namespace qdx
