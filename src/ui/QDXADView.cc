#include "ui/QDXADView.h"

#include "ads/ad_list.h"
#include "common/day_stamp.h"
#include "common/json_access.h"
#include "identity/QDXDevInfo.h"
#include "platform/env.h"
#include "qdx/QDXADType.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/QDXStatisticManager.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXSlotLabel.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"

namespace qdx {

QDXADView::QDXADView() = default;

QDXADView::QDXADView(std::int64_t adType)
    : adType_(adType), ubit_(customSlotLabel(static_cast<std::int32_t>(adType))) {}

std::shared_ptr<QDXADView> QDXADView::initWithADType(std::int64_t adType) {
  return std::make_shared<QDXADView>(adType);
}

void QDXADView::reportUsageUnlessDone() {
  // Only the custom-slot kinds share a success flag; any other kind
  // reports every time.
  if (adType_ != QDXADTypeCustomNativeBanner && adType_ != QDXADTypeCustomTextForm &&
      adType_ != QDXADTypeCustomImageTextForm) {
    QDXStatisticManager::reportUType_active(adType_);
    return;
  }
  const std::optional<std::int64_t> done =
      json::asInteger(QDXUserDefaults::getObjectFromLocal(keys::kUtypeSuccessCustom));
  const std::optional<std::string> storedVersion =
      json::asString(QDXUserDefaults::getObjectFromLocal(keys::kAppVersion));
  const std::optional<std::string> bundleVersion =
      Env::Default()->bundleInfo("CFBundleShortVersionString");
  const bool skip = done.value_or(0) != 0 && storedVersion && storedVersion == bundleVersion;
  if (!skip) QDXStatisticManager::reportUType_active(adType_);
}

Json QDXADView::loadADWithCount(std::uint64_t count) {
  reportUsageUnlessDone();
  appDict_ = requestAdList(static_cast<std::int32_t>(adType_), delegate_, /*logRefusal=*/false);

  QDXHttpRequestProxy& reporter = QDXHttpRequestProxy::shareInstance();
  const std::uint64_t apps = appCount(appDict_);
  const std::uint64_t n = count < apps ? count : apps;
  if (n == 0) {
    reporter.reportRequestEventWithUbit(ubit_, std::nullopt, std::nullopt, adType_);
  }
  for (std::uint64_t i = 0; i < n; ++i) {
    const Json& app = appAt(appDict_, i);
    reporter.reportRequestEventWithUbit(ubit_, adText(app, adkeys::kAdId), appText(app, adkeys::kAppId),
                                        adType_);
    adDownUrlArr_.push_back(adText(app, adkeys::kAdDownUrl));
  }
  return appDict_;
}

void QDXADView::tapAD(std::int64_t index) {
  // A negative index wraps to one past every list: no entry, absent ids.
  const Json& app = appAt(appDict_, static_cast<std::size_t>(index));
  const std::optional<std::string> appId = appText(app, adkeys::kAppId);
  const std::string key = keys::dailyClickKey(appId, adType_);
  const std::string today = todayStamp();

  const Json stored = QDXUserDefaults::getObjectFromLocal(key);
  if (!(stored.is_string() && stored.get<std::string>() == today)) {
    QDXHttpRequestProxy::shareInstance().reportClickEventWithUbit(ubit_, adText(app, adkeys::kAdId), appId,
                                                                  adType_);
  }
  if (delegate_) delegate_->onADClicked();

  if (QDXDevInfo::getNetworkTypeFromStatusBar() == 0) {
    showNoNetworkAlert();
    return;
  }
  if (index >= 0 && static_cast<std::uint64_t>(index) < adDownUrlArr_.size()) {
    debugLog("点击跳转到AppStore");
    // An entry that had no readable link makes no URL: nothing opens, and
    // the day is stamped all the same.
    if (const auto& link = adDownUrlArr_[static_cast<std::size_t>(index)]) Env::Default()->openURL(*link);
    QDXUserDefaults::saveToLocal(today, key);
  } else {
    debugLog("跳转链接不存在");
  }
}

void QDXADView::showNoNetworkAlert() {
  // The view is the alert's delegate; the alert holds it weakly.
  std::shared_ptr<QDXADView> self = selfAs<QDXADView>();
  auto alert = std::make_shared<kit::AlertView>(
      "请先连接网络", std::nullopt, std::weak_ptr<kit::AlertViewDelegate>(self), "取消",
      std::vector<std::string>{"确定"});
  alert->show();
}

void QDXADView::reportShowEventWithPage(std::int64_t page) {
  const Json& app = appAt(appDict_, static_cast<std::size_t>(page));
  QDXHttpRequestProxy::shareInstance().reportShowEventWithUbit(ubit_, adText(app, adkeys::kAdId),
                                                               appText(app, adkeys::kAppId), adType_);
}

void QDXADView::downloadApp(const std::shared_ptr<QDXADView>& sender) {
  if (!sender) return;
  if (std::shared_ptr<QDXADEventDelegate> target = sender->eventDelegate()) target->tapAD(sender->tag());
}

}  // namespace qdx
