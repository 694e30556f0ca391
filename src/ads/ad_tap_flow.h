#pragma once
// The flow of a tap on an ad, shared by the ad manager (banner and wall)
// and the custom-slot view. In order:
// 1. the click report, by the caller's click rule;
// 2. the host's onADClicked;
// 3. with a network, the store link of the tapped index opens
//    ("点击跳转到AppStore" logged), or "跳转链接不存在" is logged when the
//    index has no link; without a network, the caller's no-network alert.
// The click report and the callback come before the network test, so a tap
// without a network still counts as a click. What the two callers differ
// in is given in TapFlow.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ads/ad_list.h"

namespace qdx {

// When a tap reports its click.
enum class ClickRule {
  // Only when both ids are present; every such tap reports (the ad
  // manager).
  kWhenBothIdsPresent,
  // Whatever the ids, unless the once-a-day key "%@%ld" of (app id, ad
  // type) holds today's stamp; a tap whose index has a link stores today's
  // stamp under that key after opening it, so the day counts from the last
  // opening (the custom slot).
  kOncePerDay,
};

struct TapFlow {
  // The tapped ad's index into links.
  std::int64_t index = 0;
  // The store links by index; an entry without a readable link opens
  // nothing (it is still "going to the store").
  std::vector<std::optional<std::string>> links;
  // The ids the click reports: those the ad manager holds, or those of the
  // custom slot's tapped entry.
  AdIds ids;
  // The slot label and the ad type the click reports.
  std::optional<std::string> ubit;
  std::int64_t adType = 0;
  ClickRule clickRule = ClickRule::kWhenBothIdsPresent;
  // The host's delegate, asked for when onADClicked is due (after the
  // synchronous click report); may be empty or return null.
  HostDelegateSource hostDelegate;
  // Shows the caller's no-network alert from the caller's presenter; may be
  // empty.
  std::function<void()> showNoNetworkAlert;
};

// Runs the tap flow. On the main thread: the click report is a synchronous
// post.
void runTapFlow(const TapFlow& tap);

}  // namespace qdx
