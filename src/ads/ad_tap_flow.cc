#include "ads/ad_tap_flow.h"

#include "common/day_stamp.h"
#include "common/json_access.h"
#include "identity/QDXDevInfo.h"
#include "platform/env.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"

namespace qdx {

void runTapFlow(const TapFlow& tap) {
  const bool daily = tap.clickRule == ClickRule::kOncePerDay;
  const std::string dailyKey = daily ? keys::dailyClickKey(tap.ids.app_id, tap.adType) : "";
  const std::string today = daily ? todayStamp() : "";

  const bool report = daily ? json::asString(QDXUserDefaults::getObjectFromLocal(dailyKey)) != today
                            : tap.ids.bothPresent();
  if (report) {
    QDXHttpRequestProxy::shareInstance().reportClickEventWithUbit(tap.ubit, tap.ids.adid,
                                                                  tap.ids.app_id, tap.adType);
  }
  if (tap.hostDelegate) {
    if (auto host = tap.hostDelegate()) host->onADClicked();
  }

  if (QDXDevInfo::getNetworkTypeFromStatusBar() == 0) {
    if (tap.showNoNetworkAlert) tap.showNoNetworkAlert();
    return;
  }
  if (tap.index < 0 || static_cast<std::size_t>(tap.index) >= tap.links.size()) {
    debugLog("跳转链接不存在");
    return;
  }
  debugLog("点击跳转到AppStore");
  // An entry that had no readable link makes no URL: nothing opens, and a
  // daily stamp is stored all the same.
  if (const auto& link = tap.links[static_cast<std::size_t>(tap.index)]) {
    Env::Default()->openURL(*link);
  }
  if (daily) QDXUserDefaults::saveToLocal(today, dailyKey);
}

}  // namespace qdx
