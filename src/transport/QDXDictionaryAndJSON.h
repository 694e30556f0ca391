#pragma once
// The JSON codec for bodies, envelopes and deciphered answers.
#include <optional>
#include <string>

#include "common/json.h"

namespace qdx {

class QDXDictionaryAndJSON {
 public:
  // Pretty-printed UTF-8 JSON bytes of dic; nullopt for null or on failure
  // (then "字典转JSON失败：%@" is logged, always).
  static std::optional<std::string> jsonDataFromObjectDic(const Json& dic);
  // The same JSON as a string; "" for null; nullopt on failure.
  static std::optional<std::string> jsonStringFromObjectDic(const Json& dic);
  // The parsed object; null for nullopt or "" (silently) or on failure
  // (then "QDXDictionaryAndJSON：JSON解析失败：%@" is logged, always).
  static Json dictionaryFromJsonString(const std::optional<std::string>& text);
  // Parses an answer body the way callers read answers directly (mutable
  // containers, optionally allowing fragments): null on failure, no log.
  static Json objectFromJsonData(const std::optional<std::string>& data,
                                 bool allowFragments = false);
};

}  // namespace qdx
