#include "ui/QDXBannerAdView.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "ads/ad_list.h"
#include "kit/box_convolve.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/TapGestureRecognizer.h"
#include "sdk/QDXLog.h"
#include "ui/ad_image.h"

namespace qdx {
namespace {

constexpr double kArtworkRatio = 8.0 / 3.0;
constexpr double kBackdropBlur = 0.5;

}  // namespace

kit::Rect QDXBannerAdView::foregroundFrame(kit::Size size) {
  const double w = size.width, h = size.height;
  if (w / h >= kArtworkRatio) {
    return kit::Rect(std::fabs(w - kArtworkRatio * h) / 2, 0, kArtworkRatio * h, h);
  }
  return kit::Rect(0, std::fabs(h - w / kArtworkRatio) / 2, w, w / kArtworkRatio);
}

bool QDXBannerAdView::onAdInfoLoaded(const Json& entry, kit::Size size) {
  return showArtwork(artworkOf(entry), size);
}

std::optional<std::string> QDXBannerAdView::artworkOf(const Json& entry) {
  const std::optional<std::string> url = adText(entry, adkeys::kAdUrl);
  return adImageData(url);
}

bool QDXBannerAdView::showArtwork(const std::optional<std::string>& artwork, kit::Size size) {
  if (!artwork) return false;
  std::shared_ptr<kit::Image> image = kit::Image::imageWithData(artwork);

  auto backdrop = std::make_shared<kit::ImageView>(kit::Rect(0, 0, size.width, size.height));
  backdrop->setImage(boxblurImage(image, kBackdropBlur));
  auto foreground = std::make_shared<kit::ImageView>(foregroundFrame(size));
  foreground->setImage(image);
  foreground->setUserInteractionEnabled(true);
  auto recognizer = std::make_shared<kit::TapGestureRecognizer>();
  std::weak_ptr<QDXBannerAdView> weakSelf = selfAs<QDXBannerAdView>();
  recognizer->addTarget(weakSelf, [weakSelf](const std::shared_ptr<kit::TapGestureRecognizer>&) {
    if (auto self = weakSelf.lock()) self->tap();
  });

  RunLoop::main().post([weakSelf, backdrop, foreground, recognizer] {
    auto self = weakSelf.lock();
    if (!self) return;
    self->addSubview(backdrop);
    self->addSubview(foreground);
    foreground->addGestureRecognizer(recognizer);
  });
  return true;
}

void QDXBannerAdView::tap() {
  debugLog("点击跳转到AppStore关闭了banner");
  if (std::shared_ptr<QDXADEventDelegate> target = eventDelegate()) target->tapAD(tag());
}

long QDXBannerAdView::kernelSize(double blurNumber) {
  const double scaled = blurNumber * 40;
  // A product a long cannot hold (or NaN) becomes the lowest long, as the
  // hardware's conversion gives it: an invalid kernel, which the
  // convolution refuses.
  long k = std::isfinite(scaled) && std::fabs(scaled) < 9.0e18 ? static_cast<long>(scaled)
                                                                 : std::numeric_limits<long>::min();
  if (k < 0) k += 1;
  return k | 1;
}

std::shared_ptr<kit::Image> QDXBannerAdView::boxblurImage(const std::shared_ptr<kit::Image>& image,
                                                          double blurNumber) {
  if (!image) return nullptr;
  const long k = kernelSize(blurNumber);
  const int width = image->pixelWidth(), height = image->pixelHeight();
  std::vector<std::uint32_t> out;
  const long error = kit::boxConvolve8888(image->pixels(), width, height, k, k, out);
  if (error != kit::kBoxConvolveNoError) {
    debugLog("error from convolution " + std::to_string(error));
    // The output buffer is used anyway, as allocated: blank.
    out.assign(image->pixels().size(), 0);
  }
  // The bitmap context skips the alpha byte: every pixel comes out opaque
  // with the colour bytes as they were.
  for (std::uint32_t& pixel : out) pixel |= 0xFF000000u;
  return kit::Image::imageWithPixels(width, height, std::move(out), image->scale());
}

}  // namespace qdx
