#include "transport/QDXDictionaryAndJSON.h"

#include <cmath>
#include <vector>

#include "common/json_parse.h"
#include "sdk/QDXLog.h"

namespace qdx {

namespace {

// Deeper texts are refused like malformed ones, so that nothing later walks
// a value deep enough to exhaust the stack.
constexpr int kMaxNestingDepth = 512;

// Whether the text's brackets (outside strings) nest deeper than the limit.
bool nestsTooDeep(const std::string& text) {
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kMaxNestingDepth) return true;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

// Finds a value the serializer must refuse: a float that is not finite
// (JSON has no NaN or infinity). Iterative, so any depth is fine.
bool holdsNonFiniteNumber(const Json& root) {
  std::vector<const Json*> pending{&root};
  while (!pending.empty()) {
    const Json* value = pending.back();
    pending.pop_back();
    if (value->is_number_float() && !std::isfinite(value->get<double>())) return true;
    if (value->is_structured()) {
      for (const Json& child : *value) pending.push_back(&child);
    }
  }
  return false;
}

// Pretty-printed JSON of value, or nullopt after logging why not.
std::optional<std::string> serialize(const Json& value) {
  if (!value.is_object() && !value.is_array()) {
    logAlways("字典转JSON失败：top-level value is not a dictionary or an array");
    return std::nullopt;
  }
  if (holdsNonFiniteNumber(value)) {
    logAlways("字典转JSON失败：invalid number (NaN or infinity) in JSON write");
    return std::nullopt;
  }
  try {
    // The strict handler refuses strings that are not UTF-8.
    return value.dump(2, ' ', false, Json::error_handler_t::strict);
  } catch (const std::exception& error) {
    logAlways(std::string("字典转JSON失败：") + error.what());
    return std::nullopt;
  }
}

// Parses text; on failure returns null and, when error is given, the
// parser's message.
Json parse(const std::string& text, bool allowFragments, std::string* error) {
  // A zero byte is never valid JSON; the parser would take it as the end.
  if (text.find('\0') != std::string::npos) {
    if (error) *error = "unexpected zero byte in JSON text";
    return nullptr;
  }
  if (nestsTooDeep(text)) {
    if (error) *error = "JSON nested too deeply (more than 512 levels)";
    return nullptr;
  }
  // Linear in the text: an object's members are indexed while they arrive.
  Json value = parseJson(text, error);
  if (value.is_discarded()) return nullptr;
  if (!allowFragments && !value.is_object() && !value.is_array()) {
    if (error) *error = "JSON text did not start with array or object and fragments are not allowed";
    return nullptr;
  }
  return value;
}

}  // namespace

std::optional<std::string> QDXDictionaryAndJSON::jsonDataFromObjectDic(const Json& dic) {
  if (dic.is_null()) return std::nullopt;
  return serialize(dic);
}

std::optional<std::string> QDXDictionaryAndJSON::jsonStringFromObjectDic(const Json& dic) {
  if (dic.is_null()) return std::string();
  return serialize(dic);
}

Json QDXDictionaryAndJSON::dictionaryFromJsonString(const std::optional<std::string>& text) {
  if (!text || text->empty()) return nullptr;
  std::string error;
  Json value = parse(*text, false, &error);
  if (value.is_null()) logAlways("QDXDictionaryAndJSON：JSON解析失败：" + error);
  return value;
}

Json QDXDictionaryAndJSON::objectFromJsonData(const std::optional<std::string>& data,
                                              bool allowFragments) {
  if (!data || data->empty()) return nullptr;
  return parse(*data, allowFragments, nullptr);
}

}  // namespace qdx
