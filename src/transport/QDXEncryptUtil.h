#pragma once
// Percent escaping, the request signature and HMAC-SHA1.
#include <string>

#include "common/json.h"

namespace qdx {

class QDXEncryptUtil {
 public:
  // Escapes with the URL-query set, then "+", "&", "=", ":" and "/".
  static std::string encodeToPercentEscapeString(const std::string& text);
  // The base-64 HMAC-SHA1 signature of method, url and every member of
  // params (numeric-aware key order), keyed by key.
  static std::string makeSig(const std::string& method, const std::string& url,
                             const Json& params, const std::string& key);
  // Base-64 of HMAC-SHA1(key, data), both taken up to their first zero byte.
  static std::string HmacSha1(const std::string& key, const std::string& data);
};

}  // namespace qdx
