#include "qdx/QDXAD.h"

#include <exception>
#include <string>
#include <utility>

#include "ads/QDXADManager.h"
#include "common/json_access.h"
#include "common/no_throw.h"
#include "common/time_format.h"
#include "identity/QDXAppInfo.h"
#include "identity/QDXDevInfo.h"
#include "platform/env.h"
#include "qdx/RunLoop.h"
#include "qdx/QDXADRequest.h"
#include "qdx/QDXADType.h"
#include "reporting/QDXExceptionHandler.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/background_work.h"
#include "reporting/startup_reports.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"

namespace qdx {

namespace {

constexpr double kTimerIntervalSeconds = 0.5;

double now() { return Env::Default()->now(); }

}  // namespace

QDXAD::QDXAD() = default;
QDXAD::~QDXAD() = default;

std::shared_ptr<QDXAD> QDXAD::initWithChannel(const std::string& channel, std::int64_t app_id,
                                              const std::string& app_key) {
  std::shared_ptr<QDXAD> facade(new QDXAD());
  noThrow("QDXAD start-up", [&] {
    // Crash capture first, before anything is stored.
    QDXExceptionHandler::setHandler();
    facade->storeAppId(app_id);
    facade->storeAppKey(app_key);
    facade->storeChannel(channel);
    facade->storeAppVersion();
    facade->startUseTimePeriod();
    facade->startTimer();
    facade->storeRunStamp();
    if (!facade->networkAvailable()) return;
    runOnlineStartup(QDXAppInfo::bundleShortVersion());
  });
  return facade;
}

void QDXAD::storeAppId(std::int64_t app_id) {
  const Json stored = QDXUserDefaults::getObjectFromLocal(keys::kAppId);
  // A stored value that reads as the same integer ("123", 123.0) is left
  // as it is, kind and all.
  if (stored.is_null() || json::asInteger(stored) != app_id) {
    QDXUserDefaults::saveToLocal(Json(app_id), keys::kAppId);
  }
}

void QDXAD::storeAppKey(const std::string& app_key) {
  const Json stored = QDXUserDefaults::getObjectFromLocal(keys::kAppKey);
  if (json::asString(stored) != app_key) {
    QDXUserDefaults::saveToLocal(Json(app_key), keys::kAppKey);
  }
}

void QDXAD::storeChannel(const std::string& channel) {
  if (channel.empty()) {
    // Written every time, whatever was stored before.
    QDXUserDefaults::saveToLocal(Json("AppStore"), keys::kChannel);
    return;
  }
  const Json stored = QDXUserDefaults::getObjectFromLocal(keys::kChannel);
  if (json::asString(stored) != channel) {
    QDXUserDefaults::saveToLocal(Json(channel), keys::kChannel);
  }
}

void QDXAD::storeAppVersion() {
  // A bundle without a version counts as version "".
  const std::string version = QDXAppInfo::bundleShortVersion();
  const Json stored = QDXUserDefaults::getObjectFromLocal(keys::kAppVersion);
  if (json::asString(stored) != version) {
    QDXUserDefaults::saveToLocal(Json(version), keys::kAppVersion);
  }
}

void QDXAD::startUseTimePeriod() {
  QDXUserDefaults::saveToLocal(Json(wholeSeconds(now())), keys::kUseTimeStart);
}

void QDXAD::startTimer() {
  // The timer targets the facade and is never cancelled, so it holds the
  // facade for the life of the process: a host that drops the returned
  // pointer still has its use-time periods restarted.
  std::shared_ptr<QDXAD> facade = shared_from_this();
  RunLoop::current().addTimer(kTimerIntervalSeconds, /*repeats=*/true, [facade] {
    facade->currentTimer();
  });
}

void QDXAD::storeRunStamp() {
  // Keyed by the id now in the store, which step one may have left as a
  // different kind (e.g. the string "123").
  const Json appId = QDXUserDefaults::getObjectFromLocal(keys::kAppId);
  QDXUserDefaults::saveToLocal(Json(millisString(now())), keys::runStampKey(json::describe(appId)));
}

bool QDXAD::networkAvailable() {
  if (QDXDevInfo::getNetworkTypeFromStatusBar() != 0) return true;
  debugLog("SDK初始化没有网络连接");
  return false;
}

void QDXAD::currentTimer() {
  noThrow("QDXAD timer tick", [] {
    const auto background =
        json::asInteger(QDXUserDefaults::getObjectFromLocal(keys::kBackground));
    if (!background || *background == 0) return;
    if (Env::Default()->applicationState() != 0) return;
    QDXUserDefaults::removeObjectFromLocal(keys::kBackground);
    QDXUserDefaults::saveToLocal(Json(wholeSeconds(now())), keys::kUseTimeStart);
  });
}

void QDXAD::requestADWithADRequest(std::shared_ptr<QDXADRequest> request) {
  noThrow("QDXAD ad request", [&] {
    const ScreenMetrics screen = Env::Default()->mainScreen();
    if (!(screen.height > screen.width)) {
      debugLog("广告位不支持横屏展示！");
      return;
    }
    if (!request) return;
    const std::int32_t adType = request->adType();
    // Only banners and the recommend wall are presented from here; custom
    // slots go through QDXAdLoader, and the other types have no view.
    if (adType == QDXADTypeBanner || adType == QDXADTypeRecommendWall) startShowFlow(request);
  });
}

void QDXAD::startShowFlow(const std::shared_ptr<QDXADRequest>& request) {
  // Each request gets a new background thread: the flow blocks on the
  // network and waits on the main queue for its view changes.
  if (request->adType() == QDXADTypeBanner) {
    runDetached("banner flow", [request] {
      QDXADManager::defaultADManager().showBannerWithADRequest(request);
    });
  } else {
    runDetached("recommend-wall flow", [request] {
      QDXADManager::defaultADManager().showRecommendWallWithADRequest(request);
    });
  }
}

void QDXAD::getImageToLocal() {
  noThrow("QDXAD image warm-up", [] { warmImageCache(); });
}

void QDXAD::getGlobalConfig() {
  noThrow("QDXAD global configuration", [] { fetchGlobalConfig(); });
}

void QDXAD::setADDelegate(std::shared_ptr<QDXADDelegate> delegate) {
  QDXADManager::defaultADManager().setAdListener(delegate);
}

void QDXAD::setDebug(bool debug) { QDXLog::setDebug(debug); }

void QDXAD::sdkTerminate() {
  noThrow("QDXAD terminate", [] {
    // The use-time report of the ending period goes out first; it is
    // synchronous, so the caller waits for it (up to the time-out).
    QDXHttpRequestProxy::shareInstance().reportUseTime();
    QDXUserDefaults::saveToLocal(Json(true), keys::kBackground);
  });
}

}  // namespace qdx
