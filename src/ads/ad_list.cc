#include "ads/ad_list.h"

#include <cstdio>

#include "common/json_access.h"
#include "common/time_format.h"
#include "platform/env.h"
#include "sdk/QDXLog.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXDictionaryAndJSON.h"
#include "transport/QDXEncryptAndDecrypt.h"
#include "transport/QDXHttpClient.h"

namespace qdx {
namespace {

constexpr long kNoADCode = -4102;

std::string screenInPixels() {
  const ScreenMetrics screen = Env::Default()->mainScreen();
  char text[64];
  std::snprintf(text, sizeof text, "%.0f*%.0f", screen.width * screen.scale,
                screen.height * screen.scale);
  return text;
}

}  // namespace

Json adListRequestBody(std::int32_t adType) {
  Json body = Json::object();
  body["timestamp"] = millisString(Env::Default()->now());
  body["screen"] = screenInPixels();
  body["ad_type"] = adType;
  return body;
}

Json requestAdList(std::int32_t adType, const HostDelegateSource& hostDelegate, bool logRefusal) {
  // Asked for at each call, after the post: never a copy taken before it.
  const auto delegate = [&hostDelegate]() -> std::shared_ptr<QDXADDelegate> {
    return hostDelegate ? hostDelegate() : nullptr;
  };
  const std::optional<std::string> answer = QDXHttpClient::shareHttpClient().synPostUseConnectionWithURL(
      endpointURL(endpoints::kGetRecommendList), adListRequestBody(adType));
  Json appDict = Json::object();
  if (!answer) return appDict;

  const Json parsed = QDXDictionaryAndJSON::objectFromJsonData(answer);
  const std::string deciphered =
      QDXEncryptAndDecrypt().decryptWithString(json::stringMember(parsed, "data"));
  // An answer that is not JSON, or has no "retcode", reads as 0: an error
  // page then tells the host there is no ad, as an empty answer does.
  const std::int64_t retcode = json::integerMember(parsed, "retcode").value_or(0);
  if (retcode != 0) {
    if (logRefusal) {
      debugLog("请求失败：" + json::describe(json::member(parsed, "retcode")));
      debugLog("message：" + json::describe(json::member(parsed, "errmsg")));
    }
    return appDict;
  }
  if (!deciphered.empty()) {
    const Json payload = QDXDictionaryAndJSON::dictionaryFromJsonString(deciphered);
    if (payload.is_object()) appDict = payload;
  } else if (auto host = delegate()) {
    host->onNoAD(kNoADCode);
  }
  if (auto host = delegate()) host->onADLoaded();
  return appDict;
}

std::size_t appCount(const Json& payload) {
  return json::count(json::member(payload, adkeys::kAppList));
}

const Json& appAt(const Json& payload, std::size_t index) {
  return json::element(json::member(payload, adkeys::kAppList), index);
}

const Json& firstAdOf(const Json& app) {
  return json::element(json::member(app, adkeys::kAdList), 0);
}

AdIds idsOfApp(const Json& app) {
  return AdIds{json::member(firstAdOf(app), adkeys::kAdId), json::member(app, adkeys::kAppId)};
}

std::optional<std::string> textMember(const Json& entry, const char* key) {
  const Json& value = json::member(entry, key);
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number() || value.is_boolean()) return json::describe(value);
  return std::nullopt;
}

std::optional<std::string> appText(const Json& app, const char* key) {
  return textMember(app, key);
}

std::optional<std::string> adText(const Json& app, const char* key) {
  return textMember(firstAdOf(app), key);
}

}  // namespace qdx
