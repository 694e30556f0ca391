#include "ads/QDXADManager.h"

#include <algorithm>
#include <utility>

#include "ads/ad_list.h"
#include "common/json_access.h"
#include "identity/QDXAppInfo.h"
#include "identity/QDXDevInfo.h"
#include "platform/env.h"
#include "qdx/RunLoop.h"
#include "qdx/QDXADType.h"
#include "qdx/kit/AlertController.h"
#include "qdx/kit/Control.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/QDXStatisticManager.h"
#include "sdk/QDXBannerGeometry.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXSlotLabel.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"
#include "transport/QDXImageCache.h"
#include "ui/QDXBannerView.h"
#include "ui/QDXRecommendWallVC.h"
#include "ui/ad_image.h"

namespace qdx {

namespace {

// The wall reports a request for at most this many apps.
constexpr std::size_t kWallRequestEventLimit = 5;
constexpr long kBannerCloseTag = 1;
constexpr long kWallCloseTag = 4;

QDXHttpRequestProxy& reporter() { return QDXHttpRequestProxy::shareInstance(); }

bool bothPresent(const std::optional<std::string>& adid, const std::optional<std::string>& app_id) {
  return adid.has_value() && app_id.has_value();
}

}  // namespace

QDXADManager& QDXADManager::defaultADManager() { return *sharedManager(); }

std::shared_ptr<QDXADManager> QDXADManager::sharedManager() {
  // Never destroyed: background flows may still use it while the process
  // exits.
  static auto* const manager = new std::shared_ptr<QDXADManager>(new QDXADManager());
  return *manager;
}

void QDXADManager::setAdListener(std::weak_ptr<QDXADDelegate> delegate) {
  std::lock_guard<std::mutex> lock(mutex_);
  delegate_ = std::move(delegate);
}

std::shared_ptr<QDXADDelegate> QDXADManager::delegate() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return delegate_.lock();
}

// --- The request step ---------------------------------------------------------

void QDXADManager::reportUTypeIfNeeded(std::int32_t adType) {
  const std::string version = QDXAppInfo::bundleShortVersion();
  bool skip = false;
  if (adType == QDXADTypeBanner || adType == QDXADTypeRecommendWall) {
    const char* flagKey =
        adType == QDXADTypeBanner ? keys::kUtypeSuccessBanner : keys::kUtypeSuccessRecommend;
    const std::int64_t flag =
        json::asInteger(QDXUserDefaults::getObjectFromLocal(flagKey)).value_or(0);
    const std::optional<std::string> storedVersion =
        json::asString(QDXUserDefaults::getObjectFromLocal(keys::kAppVersion));
    std::lock_guard<std::mutex> lock(mutex_);
    skip = flag != 0 && storedVersion == version && adType_ == adType;
  }
  if (skip) return;
  QDXStatisticManager::reportUType_active(adType);
  std::lock_guard<std::mutex> lock(mutex_);
  adType_ = adType;
}

void QDXADManager::takeIdsOfApp(std::size_t index) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (appCount(appDict_) <= index) return;
  const Json& app = appAt(appDict_, index);
  adid_ = adText(app, adkeys::kAdId);
  app_id_ = appText(app, adkeys::kAppId);
}

Json QDXADManager::requestADWithADRequest(const std::shared_ptr<QDXADRequest>& request) {
  if (!request) return Json::object();
  const std::int32_t type = request->adType();
  reportUTypeIfNeeded(type);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    adRequest_ = request;
    appDict_ = Json::object();
  }
  const Json answer = requestAdList(type, delegate(), /*logRefusal=*/true);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    appDict_ = answer;
  }
  takeIdsOfApp(0);

  const std::optional<std::string> label = setUbit(std::nullopt, request);
  if (type != QDXADTypeRecommendWall) {
    reporter().reportRequestEventWithUbit(label, adid(), app_id(), type);
  } else if (appCount(answer) == 0) {
    reporter().reportRequestEventWithUbit(label, std::nullopt, std::nullopt, type);
  } else {
    // One per app shown first; these do not change the ids held.
    const std::size_t n = std::min(appCount(answer), kWallRequestEventLimit);
    for (std::size_t i = 0; i < n; ++i) {
      const Json& app = appAt(answer, i);
      reporter().reportRequestEventWithUbit(label, adText(app, adkeys::kAdId),
                                            appText(app, adkeys::kAppId), type);
    }
  }
  return answer;
}

std::optional<std::string> QDXADManager::setUbit(const std::optional<std::string>& ubit,
                                                 const std::shared_ptr<QDXADRequest>& request) const {
  if (!request) return ubit;
  std::optional<std::string> label =
      presentationSlotLabel(request->adType(), request->bannerType());
  return label ? label : ubit;
}

void QDXADManager::reportRequestEventWithPage(std::int64_t page) {
  takeIdsOfApp(static_cast<std::size_t>(page));
  const std::shared_ptr<QDXADRequest> request = adRequest();
  reporter().reportRequestEventWithUbit(setUbit(std::nullopt, request), adid(), app_id(),
                                        request ? request->adType() : 0);
}

void QDXADManager::reportShowEventWithPage(std::int64_t page) {
  takeIdsOfApp(static_cast<std::size_t>(page));
  const std::shared_ptr<QDXADRequest> request = adRequest();
  reporter().reportShowEventWithUbit(setUbit(std::nullopt, request), adid(), app_id(),
                                     request ? request->adType() : 0);
}

std::shared_ptr<kit::ViewController> QDXADManager::getCurrentVC() {
  return QDXADRequest::getCurrentVC();
}

// --- The flows ----------------------------------------------------------------

float QDXADManager::bannerWidth() { return static_cast<float>(Env::Default()->mainScreen().width); }

float QDXADManager::bannerHeight() {
  return static_cast<float>(qdxBannerHeight(Env::Default()->mainScreen().width));
}

void QDXADManager::showBannerWithADRequest(const std::shared_ptr<QDXADRequest>& request) {
  const Json list = requestADWithADRequest(request);
  if (list.empty()) return;
  const Json& first = appAt(list, 0);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    adDownUrlArr_ = {adText(first, adkeys::kAdDownUrl)};
  }
  QDXImageCache& cache = QDXImageCache::shareInstance();
  for (std::size_t i = 0; i < appCount(list); ++i) {
    if (auto url = adText(appAt(list, i), adkeys::kAdUrl)) cache.getImageFromString(*url);
  }
  std::shared_ptr<QDXBannerView> banner = QDXBannerView::shareBannerView();
  banner->setDelegate(sharedManager());
  if (appCount(list) == 0) return;
  const std::optional<std::string> artwork = adText(first, adkeys::kAdUrl);
  const std::optional<std::string> image = adImageData(artwork);
  if (!banner->showWithADRequest(request, image)) return;
  if (bothPresent(adid(), app_id())) {
    reporter().reportShowEventWithUbit(setUbit(std::nullopt, request), adid(), app_id(),
                                       request->adType());
  }
  if (auto host = delegate()) host->onADShowedWithADRequest(request, bannerWidth(), bannerHeight());
}

void QDXADManager::showRecommendWallWithADRequest(const std::shared_ptr<QDXADRequest>& request) {
  // The wall is on screen, waiting, before the request goes out.
  std::shared_ptr<QDXRecommendWallVC> wall;
  RunLoop::main().postAndWait([&] {
    wall = QDXRecommendWallVC::initWithAdRequest(request);
    wall->setModalTransitionStyle(kit::ModalTransitionStyleCrossDissolve);
    wall->setEventDelegate(sharedManager());
    {
      std::lock_guard<std::mutex> lock(mutex_);
      recommendWall_ = wall;
    }
    if (auto presenter = getCurrentVC()) presenter->presentViewController(wall, true, nullptr);
  });

  const Json list = requestADWithADRequest(request);
  std::vector<std::optional<std::string>> links;
  for (std::size_t i = 0; i < appCount(list); ++i) {
    links.push_back(adText(appAt(list, i), adkeys::kAdDownUrl));
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    adDownUrlArr_ = links;
  }
  bool loaded = false;
  RunLoop::main().postAndWait([&] {
    for (std::size_t i = 0; i < appCount(list); ++i) {
      const Json& app = appAt(list, i);
      wall->appNames().push_back(appText(app, adkeys::kAppName));
      wall->icons().push_back(appText(app, adkeys::kIcon));
      wall->backImages().push_back(adText(app, adkeys::kAdUrl));
      wall->descriptions().push_back(adText(app, adkeys::kAdDesc));
      wall->expands().push_back(adText(app, adkeys::kExpand));
    }
    if (wall->appNames().empty()) {
      wall->loadWithNoData();
      return;
    }
    std::vector<std::int64_t> numbers(wall->appNames().size());
    for (std::size_t k = 0; k < numbers.size(); ++k) numbers[k] = static_cast<std::int64_t>(k);
    wall->setNumberArrM(std::move(numbers));
    wall->loadWithData();
    loaded = true;
  });
  if (!loaded) return;
  if (bothPresent(adid(), app_id())) {
    reporter().reportShowEventWithUbit(setUbit(std::nullopt, request), adid(), app_id(),
                                       request->adType());
  }
  const ScreenMetrics screen = Env::Default()->mainScreen();
  if (auto host = delegate()) {
    host->onADShowedWithADRequest(request, static_cast<float>(screen.width),
                                  static_cast<float>(screen.height));
  }
}

void QDXADManager::tapAD(std::int64_t index) {
  const std::shared_ptr<QDXADRequest> request = adRequest();
  if (bothPresent(adid(), app_id())) {
    reporter().reportClickEventWithUbit(setUbit(std::nullopt, request), adid(), app_id(),
                                        request ? request->adType() : 0);
  }
  if (auto host = delegate()) host->onADClicked();

  if (QDXDevInfo::getNetworkTypeFromStatusBar() != 0) {
    const std::vector<std::optional<std::string>> links = adDownUrlArr();
    if (index < 0 || static_cast<std::size_t>(index) >= links.size()) {
      debugLog("跳转链接不存在");
      return;
    }
    debugLog("点击跳转到AppStore");
    // An entry that had no readable link makes no URL: nothing opens.
    if (const auto& link = links[static_cast<std::size_t>(index)]) Env::Default()->openURL(*link);
    return;
  }
  auto alert = kit::AlertController::alertControllerWithTitle("请先连接网络", std::nullopt,
                                                              kit::AlertControllerStyleAlert);
  alert->addAction(kit::AlertAction::actionWithTitle("取消", kit::AlertActionStyleCancel, nullptr));
  alert->addAction(kit::AlertAction::actionWithTitle("确定", kit::AlertActionStyleDefault, nullptr));
  // Presented from the wall; with no wall ever made there is no presenter
  // and the alert is dropped.
  if (auto wall = recommendWall()) wall->presentViewController(alert, true, nullptr);
}

void QDXADManager::closeAD(const std::shared_ptr<kit::Control>& control) {
  const std::shared_ptr<QDXADDelegate> host = delegate();
  if (!host || !control) return;
  if (control->tag() == kWallCloseTag) {
    const ScreenMetrics screen = Env::Default()->mainScreen();
    host->onADClosedWithADRequest(adRequest(), static_cast<float>(screen.width),
                                  static_cast<float>(screen.height));
  } else if (control->tag() == kBannerCloseTag) {
    host->onADClosedWithADRequest(adRequest(), bannerWidth(), bannerHeight());
  }
}

// --- State ----------------------------------------------------------------------

std::shared_ptr<QDXADRequest> QDXADManager::adRequest() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return adRequest_;
}

std::optional<std::string> QDXADManager::adid() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return adid_;
}

std::optional<std::string> QDXADManager::app_id() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return app_id_;
}

std::int32_t QDXADManager::adType() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return adType_;
}

Json QDXADManager::appDict() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return appDict_;
}

std::vector<std::optional<std::string>> QDXADManager::adDownUrlArr() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return adDownUrlArr_;
}

std::shared_ptr<QDXRecommendWallVC> QDXADManager::recommendWall() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return recommendWall_;
}

}  // namespace qdx
