#include "identity/QDXAppInfo.h"

#include "common/json_access.h"
#include "platform/env.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"

namespace qdx {

namespace {

// A stored identity value as text: strings as they are, numbers (the app
// id is stored as one) in their decimal form, nothing as "".
std::string storedText(const std::string& key) {
  const Json value = QDXUserDefaults::getObjectFromLocal(key);
  if (value.is_null()) return "";
  if (auto text = json::asString(value)) return *text;
  return json::describe(value);
}

}  // namespace

const char* const QDXAppInfo::kSdkVersion = "1.0.2";

QDXAppInfo::QDXAppInfo()
    : channel(storedText(keys::kChannel)),
      pkg_name(bundleIdentifier()),
      appid(storedText(keys::kAppId)),
      sdk_ver(kSdkVersion),
      app_ver(bundleShortVersion()) {}

Json QDXAppInfo::getAppInfo() const {
  Json info = Json::object();
  info["appid"] = appid;
  info["pkg_name"] = pkg_name;
  info["app_ver"] = app_ver;
  info["sdk_ver"] = sdk_ver;
  info["channel"] = channel;
  info["app_sign"] = app_sign;
  info["tag"] = tag;
  return info;
}

std::string QDXAppInfo::bundleShortVersion() {
  return Env::Default()->bundleInfo("CFBundleShortVersionString").value_or("");
}

std::string QDXAppInfo::bundleIdentifier() {
  return Env::Default()->bundleInfo("CFBundleIdentifier").value_or("");
}

}  // namespace qdx
