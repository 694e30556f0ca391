#include "common/time_format.h"

#include <cmath>
#include <cstdio>

namespace qdx {

std::string millisString(double secondsSince1970) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.f", secondsSince1970 * 1000);
  return buffer;
}

std::int64_t wholeSeconds(double secondsSince1970) {
  return static_cast<std::int64_t>(std::trunc(secondsSince1970));
}

}  // namespace qdx
