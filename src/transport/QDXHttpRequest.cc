#include "transport/QDXHttpRequest.h"

#include "common/json_access.h"
#include "common/time_format.h"
#include "identity/QDXKeyChain.h"
#include "platform/env.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"

namespace qdx {

namespace {

// Every envelope value is a string: a stored string as it is, a stored
// number (the app id is kept as an integer) as its decimal text; anything
// else counts as absent.
std::optional<std::string> envelopeText(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number() || value.is_boolean()) return json::describe(value);
  return std::nullopt;
}

}  // namespace

QDXHttpRequest::QDXHttpRequest()
    : channel(envelopeText(QDXUserDefaults::getObjectFromLocal(keys::kChannel))),
      devid(envelopeText(QDXKeyChain::getUniqueStrWithName(keys::kDeviceId)).value_or("")),
      appid(envelopeText(QDXUserDefaults::getObjectFromLocal(keys::kAppId))),
      sdk_ver("1.0.2"),
      app_ver(Env::Default()->bundleInfo("CFBundleShortVersionString")),
      os_type("2"),
      timestamp(millisString(Env::Default()->now())),
      sign("") {}

Json QDXHttpRequest::getDictionaryWithRequsetString(const std::optional<std::string>& data) const {
  const std::pair<const char*, const std::optional<std::string>*> fields[] = {
      {"devid", &devid},     {"appid", &appid},         {"sdk_ver", &sdk_ver},
      {"app_ver", &app_ver}, {"channel", &channel},     {"os_type", &os_type},
      {"timestamp", &timestamp}, {"sign", &sign},
  };
  Json envelope = Json::object();
  for (const auto& [name, value] : fields) {
    // The platform's dictionary refuses a missing value: no envelope.
    if (!value->has_value()) return nullptr;
    envelope[name] = **value;
  }
  if (data) envelope["data"] = *data;
  return envelope;
}

}  // namespace qdx
