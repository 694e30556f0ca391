#pragma once
// What the host fills in to ask for an ad: the kind of ad, for a banner
// where it sits, and the view it appears in.
#include <cstdint>
#include <memory>

#include "qdx/QDXADType.h"
#include "qdx/QDXExport.h"
#include "qdx/kit/View.h"
#include "qdx/kit/ViewController.h"

namespace qdx {

class QDX_EXPORT QDXADRequest {
 public:
  // A request for an ad of adType shown in the view of the current top view
  // controller (getCurrentVC). Type 1 (banner) becomes a top banner at
  // margin 0; other types leave bannerType and marginTop 0. The container's
  // user interaction is switched on.
  static std::shared_ptr<QDXADRequest> initWithADType(std::int32_t adType);

  // A banner request. marginTop becomes: for type 1 the given marginTop;
  // for type 2 half the view's bounds height minus half the banner height
  // (no view counts as height 0); for any other type the main screen's
  // height minus the banner height minus marginBottom, whatever the view.
  // The banner height is screen width * 110 / 720. The container is view,
  // or without one the current top view controller's view; its user
  // interaction is switched on.
  static std::shared_ptr<QDXADRequest> initWithBannerType(std::int32_t bannerType,
                                                          float marginTop, float marginBottom,
                                                          std::shared_ptr<kit::View> view);

  // The current top view controller: the application delegate's window,
  // or the first window of normal level when that one is not; then the
  // next responder of windows[0] when it is a view controller, else the
  // chosen window's root view controller. nullptr without windows.
  static std::shared_ptr<kit::ViewController> getCurrentVC();

  std::int32_t adType() const { return adType_; }
  void setAdType(std::int32_t adType) { adType_ = adType; }
  std::int32_t bannerType() const { return bannerType_; }
  void setBannerType(std::int32_t bannerType) { bannerType_ = bannerType; }
  float marginTop() const { return marginTop_; }
  void setMarginTop(float marginTop) { marginTop_ = marginTop; }
  std::shared_ptr<kit::View> adContainer() const { return adContainer_; }
  void setAdContainer(std::shared_ptr<kit::View> view) { adContainer_ = std::move(view); }

 private:
  std::int32_t adType_ = 0;
  std::int32_t bannerType_ = 0;
  float marginTop_ = 0;
  std::shared_ptr<kit::View> adContainer_;
};

}  // namespace qdx
