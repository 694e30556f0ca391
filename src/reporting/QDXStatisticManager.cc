#include "reporting/QDXStatisticManager.h"

#include <memory>

#include "common/json_access.h"
#include "identity/QDXAppInfo.h"
#include "identity/QDXDevInfo.h"
#include "identity/QDXKeyChain.h"
#include "platform/env.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/background_work.h"
#include "common/no_throw.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXDictionaryAndJSON.h"
#include "transport/QDXEncryptAndDecrypt.h"
#include "transport/QDXHttpClient.h"
#include "sdk/store_keys.h"

namespace qdx {

void QDXStatisticManager::registerDevice() {
  auto manager = std::make_shared<QDXStatisticManager>();
  runDetached("registration", [manager] { manager->newThreadRegisterDevice(); });
}

void QDXStatisticManager::newThreadRegisterDevice() {
  if (QDXUserDefaults::getObjectFromLocal(keys::kChannel).is_null()) {
    debugLog("渠道号为空，设备注册失败");
    return;
  }
  Json body = Json::object();
  body["appinfo"] = QDXAppInfo().getAppInfo();
  body["devinfo"] = QDXDevInfo().getDeviceInfo();

  std::optional<std::string> answer = QDXHttpClient::shareHttpClient().synPostUseConnectionWithURL(
      endpointURL(endpoints::kRegisterDevice), body);
  if (!answer) {
    debugLog("注册设备返回为空");
    return;
  }
  // The answer's "retcode" is not looked at: a device id is what counts.
  const Json parsed = QDXDictionaryAndJSON::objectFromJsonData(answer);
  const std::optional<std::string> cipherText = json::stringMember(parsed, "data");
  const std::string plain = QDXEncryptAndDecrypt().decryptWithString(cipherText);
  const Json decrypted =
      plain.empty() ? Json() : QDXDictionaryAndJSON::dictionaryFromJsonString(plain);
  const Json& devid = json::member(decrypted, "devid");
  if (devid.is_null()) return;

  QDXKeyChain::saveUniqueStrWithName(keys::kDeviceId, devid);

  const Json reported = QDXKeyChain::getUniqueStrWithName(keys::kReportedAppVersion);
  // A keychain without the item always differs.
  if (json::asString(reported) != QDXAppInfo::bundleShortVersion()) {
    QDXHttpRequestProxy::shareInstance().reportBaseInfo();
  }
  QDXHttpRequestProxy::shareInstance().reportActiveEvent();
}

void QDXStatisticManager::reportUType_active(std::int64_t adType) {
  noThrow("utype report", [&] {
    Json body = Json::object();
    body["utype"] = adType;
    QDXHttpClient::shareHttpClient().asyPostWithURL(
        endpointURL(endpoints::kReportUType), body,
        [adType](const std::string& data, const QDXURLResponse&,
                 const std::optional<std::string>&) {
          // Read the way a missing or unreadable value reads: as 0.
          const std::int64_t retcode =
              json::integerMember(QDXDictionaryAndJSON::objectFromJsonData(data), "retcode")
                  .value_or(0);
          if (retcode != 0) {
            QDXUserDefaults::saveToLocal(adType, keys::kUbitAdType);
            return;
          }
          if (const char* flag = keys::utypeSuccessFlagFor(adType)) QDXUserDefaults::saveToLocal(true, flag);
          QDXUserDefaults::removeObjectFromLocal(keys::kUbitAdType);
        });
  });
}

}  // namespace qdx
