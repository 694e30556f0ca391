#include "ui/QDXADView.h"

#include "ads/ad_list.h"
#include "ads/ad_tap_flow.h"
#include "ads/usage_report_gate.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "sdk/QDXSlotLabel.h"

namespace qdx {

QDXADView::QDXADView() = default;

QDXADView::QDXADView(std::int64_t adType)
    : adType_(adType), ubit_(customSlotLabel(static_cast<std::int32_t>(adType))) {}

std::shared_ptr<QDXADView> QDXADView::initWithADType(std::int64_t adType) {
  return std::make_shared<QDXADView>(adType);
}

Json QDXADView::loadADWithCount(std::uint64_t count) {
  // The custom-slot kinds share one success flag; any other kind reports
  // every time.
  reportUsageUnlessSkipped(adType_, UsageReportKinds::kCustomSlots, /*sameKindAsLastReport=*/true);
  appDict_ = requestAdList(static_cast<std::int32_t>(adType_), [this] { return delegate_; },
                           /*logRefusal=*/false);

  QDXHttpRequestProxy& reporter = QDXHttpRequestProxy::shareInstance();
  const std::uint64_t apps = appCount(appDict_);
  const std::uint64_t n = count < apps ? count : apps;
  if (n == 0) {
    reporter.reportRequestEventWithUbit(ubit_, Json(), Json(), adType_);
  }
  for (std::uint64_t i = 0; i < n; ++i) {
    const Json& app = appAt(appDict_, i);
    const AdIds ids = idsOfApp(app);
    reporter.reportRequestEventWithUbit(ubit_, ids.adid, ids.app_id, adType_);
    adDownUrlArr_.push_back(adText(app, adkeys::kAdDownUrl));
  }
  return appDict_;
}

void QDXADView::tapAD(std::int64_t index) {
  TapFlow tap;
  tap.index = index;
  tap.links = adDownUrlArr_;
  // A negative index wraps to one past every list: no entry, absent ids.
  tap.ids = idsOfApp(appAt(appDict_, static_cast<std::size_t>(index)));
  tap.ubit = ubit_;
  tap.adType = adType_;
  tap.clickRule = ClickRule::kOncePerDay;
  tap.hostDelegate = [this] { return delegate_; };
  tap.showNoNetworkAlert = [this] { showNoNetworkAlert(); };
  runTapFlow(tap);
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
  const AdIds ids = idsOfApp(appAt(appDict_, static_cast<std::size_t>(page)));
  QDXHttpRequestProxy::shareInstance().reportShowEventWithUbit(ubit_, ids.adid, ids.app_id, adType_);
}

void QDXADView::downloadApp(const std::shared_ptr<QDXADView>& sender) {
  if (!sender) return;
  if (std::shared_ptr<QDXADEventDelegate> target = sender->eventDelegate()) target->tapAD(sender->tag());
}

}  // namespace qdx
