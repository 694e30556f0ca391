#include "ads/QDXADManager.h"

#include <algorithm>
#include <utility>

#include "ads/ad_list.h"
#include "ads/ad_tap_flow.h"
#include "ads/close_tags.h"
#include "ads/usage_report_gate.h"
#include "common/json_access.h"
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
#include "transport/QDXImageCache.h"
#include "ui/QDXBannerView.h"
#include "ui/QDXRecommendWallVC.h"
#include "ui/ad_image.h"

namespace qdx {

namespace {

// The wall reports a request for at most this many apps.
constexpr std::size_t kWallRequestEventLimit = 5;

// Our own lines for a host that set no application delegate with a window:
// the wall, and the no-network alert that the wall presents, then have no
// presenter.
constexpr const char kNoWallPresenter[] =
    "qdx: the recommend wall has no view controller to present it from: set an application "
    "delegate whose window has a root view controller (kit::Application::setDelegate)";
constexpr const char kNoAlertPresenter[] =
    "qdx: the alert \"请先连接网络\" has no recommend wall to present it from; it is not shown";

QDXHttpRequestProxy& reporter() { return QDXHttpRequestProxy::shareInstance(); }

}  // namespace

QDXADManager& QDXADManager::defaultADManager() { return *sharedManager(); }

std::shared_ptr<QDXADManager> QDXADManager::sharedManager() {
  // Never destroyed: background flows may still use it while the process
  // exits.
  static auto* const manager = new std::shared_ptr<QDXADManager>(new QDXADManager());
  return *manager;
}

void QDXADManager::setAdListener(std::weak_ptr<QDXADDelegate> delegate) {
  MutexLock lock(mutex_);
  delegate_ = std::move(delegate);
}

std::shared_ptr<QDXADDelegate> QDXADManager::delegate() const {
  MutexLock lock(mutex_);
  return delegate_.lock();
}

// --- The request step ---------------------------------------------------------

void QDXADManager::reportUTypeIfNeeded(std::int32_t adType) {
  bool sameKind = false;
  {
    MutexLock lock(mutex_);
    sameKind = adType_ == adType;
  }
  if (reportUsageUnlessSkipped(adType, UsageReportKinds::kBannerAndWall, sameKind)) {
    MutexLock lock(mutex_);
    adType_ = adType;
  }
}

QDXADManager::HeldAd QDXADManager::heldAd() const {
  MutexLock lock(mutex_);
  return HeldAd{adRequest_, ids_};
}

QDXADManager::HeldAd QDXADManager::takeIdsOfApp(std::size_t index) {
  MutexLock lock(mutex_);
  if (index < appCount(appDict_)) ids_ = idsOfApp(appAt(appDict_, index));
  return HeldAd{adRequest_, ids_};
}

void QDXADManager::reportHeld(EventKind kind, const std::shared_ptr<QDXADRequest>& request,
                              const AdIds& ids) const {
  const std::optional<std::string> label = setUbit(std::nullopt, request);
  const std::int32_t type = request ? request->adType() : 0;
  switch (kind) {
    case EventKind::kRequest:
      reporter().reportRequestEventWithUbit(label, ids.adid, ids.app_id, type);
      break;
    case EventKind::kShow:
      reporter().reportShowEventWithUbit(label, ids.adid, ids.app_id, type);
      break;
    case EventKind::kClick:
      reporter().reportClickEventWithUbit(label, ids.adid, ids.app_id, type);
      break;
  }
}

Json QDXADManager::requestADWithADRequest(const std::shared_ptr<QDXADRequest>& request) {
  if (!request) return Json::object();
  const std::int32_t type = request->adType();
  reportUTypeIfNeeded(type);
  {
    MutexLock lock(mutex_);
    adRequest_ = request;
    appDict_ = Json::object();
  }
  const Json answer = requestAdList(type, [this] { return delegate(); }, /*logRefusal=*/true);
  {
    MutexLock lock(mutex_);
    appDict_ = answer;
  }
  const HeldAd held = takeIdsOfApp(0);

  if (type != QDXADTypeRecommendWall) {
    reportHeld(EventKind::kRequest, request, held.ids);
  } else if (appCount(answer) == 0) {
    reportHeld(EventKind::kRequest, request, AdIds{});
  } else {
    // One per app shown first; these do not change the ids held.
    const std::size_t n = std::min(appCount(answer), kWallRequestEventLimit);
    for (std::size_t i = 0; i < n; ++i) reportHeld(EventKind::kRequest, request, idsOfApp(appAt(answer, i)));
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
  const HeldAd held = takeIdsOfApp(static_cast<std::size_t>(page));
  reportHeld(EventKind::kRequest, held.request, held.ids);
}

void QDXADManager::reportShowEventWithPage(std::int64_t page) {
  const HeldAd held = takeIdsOfApp(static_cast<std::size_t>(page));
  reportHeld(EventKind::kShow, held.request, held.ids);
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
    MutexLock lock(mutex_);
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
  if (const AdIds ids = heldAd().ids; ids.bothPresent()) reportHeld(EventKind::kShow, request, ids);
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
      MutexLock lock(mutex_);
      recommendWall_ = wall;
    }
    if (auto presenter = getCurrentVC()) {
      presenter->presentViewController(wall, true, nullptr);
    } else {
      debugLog(kNoWallPresenter);
    }
  });

  const Json list = requestADWithADRequest(request);
  std::vector<std::optional<std::string>> links;
  for (std::size_t i = 0; i < appCount(list); ++i) {
    links.push_back(adText(appAt(list, i), adkeys::kAdDownUrl));
  }
  {
    MutexLock lock(mutex_);
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
  if (const AdIds ids = heldAd().ids; ids.bothPresent()) reportHeld(EventKind::kShow, request, ids);
  const ScreenMetrics screen = Env::Default()->mainScreen();
  if (auto host = delegate()) {
    host->onADShowedWithADRequest(request, static_cast<float>(screen.width),
                                  static_cast<float>(screen.height));
  }
}

void QDXADManager::tapAD(std::int64_t index) {
  const HeldAd held = heldAd();
  TapFlow tap;
  tap.index = index;
  tap.links = adDownUrlArr();
  tap.ids = held.ids;
  tap.ubit = setUbit(std::nullopt, held.request);
  tap.adType = held.request ? held.request->adType() : 0;
  tap.clickRule = ClickRule::kWhenBothIdsPresent;
  tap.hostDelegate = [this] { return delegate(); };
  tap.showNoNetworkAlert = [this] { presentNoNetworkAlert(); };
  runTapFlow(tap);
}

void QDXADManager::presentNoNetworkAlert() const {
  // Presented from the wall; with no wall ever made there is no presenter
  // and the alert is dropped.
  const std::shared_ptr<QDXRecommendWallVC> wall = recommendWall();
  if (!wall) {
    debugLog(kNoAlertPresenter);
    return;
  }
  auto alert = kit::AlertController::alertControllerWithTitle("请先连接网络", std::nullopt,
                                                              kit::AlertControllerStyleAlert);
  alert->addAction(kit::AlertAction::actionWithTitle("取消", kit::AlertActionStyleCancel, nullptr));
  alert->addAction(kit::AlertAction::actionWithTitle("确定", kit::AlertActionStyleDefault, nullptr));
  wall->presentViewController(alert, true, nullptr);
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
  MutexLock lock(mutex_);
  return adRequest_;
}

Json QDXADManager::adid() const { return heldAd().ids.adid; }

Json QDXADManager::app_id() const { return heldAd().ids.app_id; }

std::int32_t QDXADManager::adType() const {
  MutexLock lock(mutex_);
  return adType_;
}

Json QDXADManager::appDict() const {
  MutexLock lock(mutex_);
  return appDict_;
}

std::vector<std::optional<std::string>> QDXADManager::adDownUrlArr() const {
  MutexLock lock(mutex_);
  return adDownUrlArr_;
}

std::shared_ptr<QDXRecommendWallVC> QDXADManager::recommendWall() const {
  MutexLock lock(mutex_);
  return recommendWall_;
}

}  // namespace qdx
