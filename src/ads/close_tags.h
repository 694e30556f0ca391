#pragma once
// The tags of the close buttons. A close reaches the ad manager's closeAD
// with the button itself, and its tag says which ad was closed: it is the
// ad type of what the button closes. The views that make the buttons and
// the manager that reads them both take the tags from here.
#include "qdx/QDXADType.h"

namespace qdx {

// The banner's close button.
inline constexpr long kBannerCloseTag = QDXADTypeBanner;
// The recommend wall's close button.
inline constexpr long kWallCloseTag = QDXADTypeRecommendWall;
// The empty wall's close button carries no tag: closing it dismisses the
// wall but names no ad, so the host hears no close.
inline constexpr long kEmptyWallCloseTag = 0;

}  // namespace qdx
