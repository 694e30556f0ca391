#pragma once
// The request envelope: identity fields, a millisecond time stamp, the
// enciphered body and the signature.
#include <optional>
#include <string>

#include "common/json.h"

namespace qdx {

class QDXHttpRequest {
 public:
  // Reads the store, the keychain, the bundle and the clock now.
  QDXHttpRequest();

  // The eight identity members and, when data is given, "data". Null when
  // a field has no value (channel or app id not stored yet).
  Json getDictionaryWithRequsetString(const std::optional<std::string>& data) const;

  std::optional<std::string> channel;
  std::optional<std::string> devid;
  std::optional<std::string> appid;
  std::optional<std::string> sdk_ver;
  std::optional<std::string> app_ver;
  std::optional<std::string> os_type;
  std::optional<std::string> timestamp;
  std::optional<std::string> sign;
};

}  // namespace qdx
