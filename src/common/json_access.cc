#include "common/json_access.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace qdx::json {

namespace {
const Json& nullValue() {
  static const Json kNull;
  return kNull;
}
}  // namespace

const Json& member(const Json& value, const std::string& key) {
  if (!value.is_object()) return nullValue();
  auto it = value.find(key);
  return it == value.end() ? nullValue() : *it;
}

const Json& element(const Json& value, std::size_t index) {
  if (!value.is_array() || index >= value.size()) return nullValue();
  return value[index];
}

std::optional<std::int64_t> asInteger(const Json& value) {
  if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
  if (value.is_number_unsigned()) return static_cast<std::int64_t>(value.get<std::uint64_t>());
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (value.is_number_float()) {
    double d = value.get<double>();
    if (std::isnan(d)) return 0;
    if (d >= 9.2e18) return INT64_MAX;
    if (d <= -9.2e18) return INT64_MIN;
    return static_cast<std::int64_t>(d);
  }
  if (value.is_string()) {
    const std::string& s = value.get_ref<const std::string&>();
    errno = 0;
    long long parsed = std::strtoll(s.c_str(), nullptr, 10);
    return static_cast<std::int64_t>(parsed);
  }
  return std::nullopt;
}

std::optional<double> asDouble(const Json& value) {
  if (value.is_boolean()) return value.get<bool>() ? 1.0 : 0.0;
  if (value.is_number()) return value.get<double>();
  if (value.is_string()) return std::strtod(value.get_ref<const std::string&>().c_str(), nullptr);
  return std::nullopt;
}

std::optional<std::string> asString(const Json& value) {
  if (!value.is_string()) return std::nullopt;
  return value.get<std::string>();
}

std::optional<std::int64_t> integerMember(const Json& value, const std::string& key) {
  return asInteger(member(value, key));
}

std::optional<std::string> stringMember(const Json& value, const std::string& key) {
  return asString(member(value, key));
}

std::size_t count(const Json& value) { return value.is_array() ? value.size() : 0; }

std::string describe(const Json& value) {
  if (value.is_null()) return "(null)";
  if (value.is_string()) return value.get<std::string>();
  if (value.is_boolean()) return value.get<bool>() ? "1" : "0";
  std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  // A whole-valued float reads "123", as the platform writes it, not "123.0":
  // it may key a stored value or enter a signature.
  if (value.is_number_float() && text.size() > 2 && text.compare(text.size() - 2, 2, ".0") == 0) {
    text.resize(text.size() - 2);
  }
  return text;
}

}  // namespace qdx::json
