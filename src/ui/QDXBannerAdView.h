#pragma once
// The native banner of a custom slot (ad type 7): the ad's artwork fitted
// to 8:3 in the middle of the slot, over a blurred copy that fills it.
// Built in code; a tap on the artwork is a tap on the ad.
#include <memory>
#include <optional>
#include <string>

#include "common/json.h"
#include "qdx/kit/Geometry.h"
#include "qdx/kit/Image.h"
#include "ui/QDXADView.h"

namespace qdx {

class QDXBannerAdView : public QDXADView {
 public:
  // Fetches entry's artwork (adlist[0]."ad_url") through the image cache
  // and, when it decodes, queues on the main queue the backdrop (the
  // artwork blurred at 0.5, filling size) and then the foreground (the
  // artwork fitted to 8:3 and centred) with its tap recogniser. Returns
  // whether there was artwork, without waiting for the queued block.
  bool onAdInfoLoaded(const Json& entry, kit::Size size);
  // The two halves of onAdInfoLoaded, for a caller that downloads on one
  // thread and builds on the main thread: the cached bytes of entry's
  // artwork (nullopt when the entry names none or it could not be had;
  // empty bytes are still bytes), and the build from those bytes.
  static std::optional<std::string> artworkOf(const Json& entry);
  bool showArtwork(const std::optional<std::string>& artwork, kit::Size size);

  // The tap recogniser's action: logs "点击跳转到AppStore关闭了banner" and
  // tells the event delegate tapAD with this view's tag.
  void tap();

  // The foreground's frame in a slot of size: the 8:3 box as wide or as
  // high as the slot, centred (offsets are absolute values).
  static kit::Rect foregroundFrame(kit::Size size);

  // The blur kernel's side for blurNumber: trunc(blurNumber * 40), plus one
  // when negative, then made odd with a bitwise or (0.5 gives 21, 0.1 gives 5).
  static long kernelSize(double blurNumber);

  // image box-blurred (edge extend) with a kernelSize(blurNumber) square
  // kernel, channel by channel, and made opaque (alpha dropped). A
  // convolution error is logged as "error from convolution %ld" and the
  // (blank) output is used anyway. nullptr for a nullptr image.
  static std::shared_ptr<kit::Image> boxblurImage(const std::shared_ptr<kit::Image>& image,
                                                  double blurNumber);
};

}  // namespace qdx
