#include "reporting/startup_reports.h"

#include <functional>
#include <vector>

#include "common/json_access.h"
#include "identity/QDXKeyChain.h"
#include "platform/env.h"
#include "reporting/QDXEvent.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/QDXStatisticManager.h"
#include "reporting/background_work.h"
#include "reporting/property_list_file.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXDictionaryAndJSON.h"
#include "transport/QDXHttpClient.h"
#include "transport/QDXImageCache.h"
#include "sdk/store_keys.h"

namespace qdx {

void runOnlineStartup(const std::string& bundleVersion) {
  QDXHttpRequestProxy& reporter = QDXHttpRequestProxy::shareInstance();

  const Json deviceId = QDXKeyChain::getUniqueStrWithName(keys::kDeviceId);
  if (deviceId.is_null()) QDXStatisticManager::registerDevice();

  if (!QDXUserDefaults::getObjectFromLocal(keys::kUseTimeEventList).is_null()) {
    reporter.reportUseTime();
  }

  const std::int64_t pendingUType =
      json::asInteger(QDXUserDefaults::getObjectFromLocal(keys::kUbitAdType)).value_or(0);
  if (pendingUType != 0) QDXStatisticManager::reportUType_active(pendingUType);

  uploadCrashLogs();

  if (json::count(QDXUserDefaults::getObjectFromLocal(keys::kReportEventList)) != 0) {
    reporter.reportEvent();
  }

  // A device registered in this same start is activated by registration.
  if (!deviceId.is_null() && QDXKeyChain::getUniqueStrWithName(keys::kReportActive).is_null()) {
    reporter.reportActiveEvent();
  }

  runDetached("image warm-up", warmImageCache);
  runDetached("global configuration", fetchGlobalConfig);

  const Json reportedVersion = QDXKeyChain::getUniqueStrWithName(keys::kReportedAppVersion);
  if (json::asString(reportedVersion) != bundleVersion) {
    reporter.reportBaseInfo();
  }
}

void uploadCrashLogs() {
  const std::string directory = QDXHttpRequestProxy::crashLogDirectory();
  const std::string url = endpointURL(endpoints::kErrorLogReport);
  const std::vector<std::string> names =
      Env::Default()->listDirectory(directory).value_or(std::vector<std::string>());
  for (const std::string& name : names) {
    // The bare name, deliberately: see the contract in the header.
    const Json record = readPropertyListDictionary(name);
    const std::string path = directory + "/" + name;
    QDXHttpClient::shareHttpClient().asyPostWithURL(
        url, record,
        [path](const std::string& data, const QDXURLResponse&, const std::optional<std::string>&) {
          if (data.empty() || !answerAcknowledged(data)) return;
          Env::Default()->removeFile(path);
        });
  }
}

void warmImageCache() {
  for (const char* image : {assets::kClose120, assets::kGuessULike, assets::kRecommendClose,
                            assets::kButtonArrow}) {
    QDXImageCache::shareInstance().getImageFromString(assetURL(image));
  }
}

void fetchGlobalConfig() {
  QDXHttpClient::shareHttpClient().asyPostWithURL(
      endpointURL(endpoints::kGetConfiguration), Json(),
      [](const std::string& data, const QDXURLResponse&, const std::optional<std::string>&) {
        if (data.empty()) {
          debugLog("获取全局配置data为空");
          return;
        }
        const Json answer = QDXDictionaryAndJSON::objectFromJsonData(data, /*allowFragments=*/true);
        if (answer.is_null()) {
          debugLog("获取全局配置data解析为 nil");
          return;
        }
        // Whatever "data" parses to replaces the stored configuration;
        // nothing (text that is not JSON) clears it. Parsed directly, not
        // through the codec's string reader, which would log its failure
        // always: this step's only messages are the two above.
        const Json config =
            QDXDictionaryAndJSON::objectFromJsonData(json::stringMember(answer, "data"));
        QDXUserDefaults::saveToLocal(config, keys::kGlobalConfig);
      });
}

}  // namespace qdx
