#pragma once
// The kinds of ad and the banner positions. The values go over the wire:
// the ad-list request sends them as "ad_type", events carry them as
// "adtype".
#include <cstdint>

namespace qdx {

enum QDXADType : std::int32_t {
  QDXADTypeBanner = 1,
  QDXADTypeHalfScreenInterstitial = 2,
  QDXADTypeNotification = 3,
  QDXADTypeRecommendWall = 4,
  QDXADTypeFullScreenInterstitial = 5,
  // 6 is not used.
  QDXADTypeCustomNativeBanner = 7,
  QDXADTypeCustomTextForm = 8,
  QDXADTypeCustomImageTextForm = 9,
};

enum QDXBannerType : std::int32_t {
  QDXBannerTypeTop = 1,
  QDXBannerTypeMiddle = 2,
  QDXBannerTypeBottom = 3,
};

}  // namespace qdx
