#include "ui/QDXBannerView.h"

#include <utility>

#include "ads/close_tags.h"
#include "platform/env.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Button.h"
#include "qdx/kit/Image.h"
#include "qdx/kit/ImageView.h"
#include "sdk/QDXBannerGeometry.h"
#include "sdk/QDXLog.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXImageCache.h"

namespace qdx {

namespace {

constexpr double kCloseButtonSide = 30;

}  // namespace

std::shared_ptr<QDXBannerView> QDXBannerView::shareBannerView() {
  // Never destroyed: a flow on a background thread may still hold it while
  // the process exits.
  static auto* const banner = new std::shared_ptr<QDXBannerView>(std::make_shared<QDXBannerView>());
  return *banner;
}

bool QDXBannerView::showWithADRequest(const std::shared_ptr<QDXADRequest>& request,
                                      const std::optional<std::string>& imageData) {
  const double width = Env::Default()->mainScreen().width;
  const double height = qdxBannerHeight(width);
  const double marginTop = request ? static_cast<double>(request->marginTop()) : 0;
  std::shared_ptr<QDXBannerView> self = std::static_pointer_cast<QDXBannerView>(
      std::static_pointer_cast<kit::View>(shared_from_this()));

  // First block: clear what an earlier show left (the banner is shared).
  RunLoop::main().post([self, width, height, marginTop] {
    self->setFrame(kit::Rect(0, marginTop, width, height));
    for (const auto& child : self->subviews()) child->removeFromSuperview();
  });
  setAdRequest(request);

  // The close image comes from the built-in address, whatever the server
  // configured; the cache may have it from start-up's warm-up.
  const std::optional<std::string> closeImage =
      QDXImageCache::shareInstance().getImageFromString(assetURL(assets::kClose120));

  // Second block: build the tree, image first and the close button on top;
  // both removal paths rely on that order.
  std::weak_ptr<QDXBannerView> weakSelf = self;
  RunLoop::main().post([self, weakSelf, request, imageData, closeImage, width, height] {
    auto imageView = std::make_shared<kit::ImageView>(kit::Rect(0, 0, width, height));
    imageView->setUserInteractionEnabled(true);
    auto recognizer = std::make_shared<kit::TapGestureRecognizer>(
        std::weak_ptr<void>(weakSelf), [weakSelf](const std::shared_ptr<kit::TapGestureRecognizer>& r) {
          if (auto banner = weakSelf.lock()) banner->tap(r);
        });
    auto close = kit::Button::buttonWithType(kit::ButtonTypeCustom);
    close->setUserInteractionEnabled(true);
    close->setFrame(kit::Rect(width - kCloseButtonSide, 0, kCloseButtonSide, kCloseButtonSide));
    close->setImageEdgeInsets(kit::EdgeInsets{2, 3, 3, 2});
    close->setImage(kit::Image::imageWithData(closeImage), kit::ControlStateNormal);
    close->addTarget(
        std::weak_ptr<void>(weakSelf),
        [weakSelf](const std::shared_ptr<kit::Control>& sender) {
          if (auto banner = weakSelf.lock()) banner->closeBanner(sender);
        },
        kit::ControlEventTouchUpInside);
    close->setTag(kBannerCloseTag);

    imageView->setImage(kit::Image::imageWithData(imageData));
    self->addSubview(imageView);
    imageView->addGestureRecognizer(recognizer);
    self->addSubview(close);
    if (request && request->adContainer()) request->adContainer()->addSubview(self);
  });
  return true;
}

void QDXBannerView::removeBanner(const std::shared_ptr<kit::View>& banner) {
  if (!banner) return;
  for (int i = 0; i < 2; ++i) {
    const auto children = banner->subviews();
    if (!children.empty()) children.back()->removeFromSuperview();
  }
  banner->removeFromSuperview();
}

void QDXBannerView::closeBanner(const std::shared_ptr<kit::Control>& sender) {
  if (sender) removeBanner(sender->superview());
  debugLog("点击关闭了banner");
  if (auto target = delegate()) target->closeAD(sender);
}

void QDXBannerView::tap(const std::shared_ptr<kit::TapGestureRecognizer>& recognizer) {
  debugLog("点击跳转到AppStore并关闭了banner");
  if (auto target = delegate()) target->tapAD(0);
  if (recognizer && recognizer->view()) removeBanner(recognizer->view()->superview());
}

std::shared_ptr<QDXADEventDelegate> QDXBannerView::delegate() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return delegate_.lock();
}

void QDXBannerView::setDelegate(std::weak_ptr<QDXADEventDelegate> delegate) {
  std::lock_guard<std::mutex> lock(mutex_);
  delegate_ = std::move(delegate);
}

std::shared_ptr<QDXADRequest> QDXBannerView::adRequest() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return adRequest_;
}

void QDXBannerView::setAdRequest(std::shared_ptr<QDXADRequest> request) {
  std::lock_guard<std::mutex> lock(mutex_);
  adRequest_ = std::move(request);
}

}  // namespace qdx
