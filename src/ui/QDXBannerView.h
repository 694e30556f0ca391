#pragma once
// The banner: one strip-shaped view, shared by the whole process, laid
// over the host's screen at the top, middle or bottom of the request's
// container. It shows the ad image with a close button in its top right
// corner; a tap on the image or on the close button removes it and tells
// its delegate (tapAD with 0, or closeAD with the button). It reports
// nothing to the server itself.
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "qdx/QDXADRequest.h"
#include "qdx/kit/Control.h"
#include "qdx/kit/TapGestureRecognizer.h"
#include "qdx/kit/View.h"
#include "ui/QDXADEventDelegate.h"

namespace qdx {

class QDXBannerView : public kit::View {
 public:
  // The shared banner, made once and never destroyed. Safe from any thread.
  static std::shared_ptr<QDXBannerView> shareBannerView();

  // Shows the ad image (encoded bytes; nothing or undecodable bytes show no
  // image) for request, at y = request's marginTop, as wide as the screen
  // and width * 110 / 720 high. May be called off the main thread: the
  // view tree changes go through two blocks queued on the main queue, the
  // first clearing what an earlier show left, the second adding the image
  // view (with its tap recogniser), the 30 x 30 close button above it, and
  // the banner into request's container. Always returns true.
  bool showWithADRequest(const std::shared_ptr<QDXADRequest>& request,
                         const std::optional<std::string>& imageData);

  // The close button's action (main thread): removes the button, the image
  // view and the banner, then tells the delegate closeAD with sender.
  void closeBanner(const std::shared_ptr<kit::Control>& sender);
  // The image's tap (main thread): tells the delegate tapAD with 0, then
  // removes the image view's banner as a close does.
  void tap(const std::shared_ptr<kit::TapGestureRecognizer>& recognizer);

  // The delegate is held weakly.
  std::shared_ptr<QDXADEventDelegate> delegate() const;
  void setDelegate(std::weak_ptr<QDXADEventDelegate> delegate);
  std::shared_ptr<QDXADRequest> adRequest() const;
  void setAdRequest(std::shared_ptr<QDXADRequest> request);

 private:
  // Removes the last subview twice (the close button, then the image view)
  // and then banner itself from its superview.
  static void removeBanner(const std::shared_ptr<kit::View>& banner);

  mutable std::mutex mutex_;
  std::weak_ptr<QDXADEventDelegate> delegate_;
  std::shared_ptr<QDXADRequest> adRequest_;
};

}  // namespace qdx
