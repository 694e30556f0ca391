#pragma once
// The recommend wall: a full-screen controller that shows one app per page
// in a horizontally paged strip of cards under the title "猜你喜欢", with
// one shared download button, page dots, a "Powered by QDX" line and a
// close button on top. The wall flow fills its content arrays and calls
// loadWithData() (or loadWithNoData() for an empty list); the wall reports
// page impressions, download taps and the close through its event
// delegate.
//
// Everything here runs on the main thread. Card images beyond the first
// two are fetched one card ahead on the wall's own serial queue
// "imageDownloadQueue" and handed back through imageDataArr and updateUI().
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "qdx/QDXADRequest.h"
#include "qdx/kit/ActivityIndicatorView.h"
#include "qdx/kit/Button.h"
#include "qdx/kit/Control.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/Label.h"
#include "qdx/kit/PageControl.h"
#include "qdx/kit/ScrollView.h"
#include "qdx/kit/ViewController.h"
#include "ui/QDXADEventDelegate.h"

namespace qdx {

class SerialQueue;

class QDXRecommendWallVC : public kit::ViewController, public kit::ScrollViewDelegate {
 public:
  // One entry per card; an entry is absent when the ad list lacked it.
  using TextList = std::vector<std::optional<std::string>>;

  // A wall for request: stores it, sets the scale coefficients from the
  // main screen (height / 568 and width / 320, single precision), empties
  // the content arrays and starts the serial queue "imageDownloadQueue".
  static std::shared_ptr<QDXRecommendWallVC> initWithAdRequest(
      std::shared_ptr<QDXADRequest> adRequest);
  ~QDXRecommendWallVC() override;

  // White background and a running gray spinner, centred on the screen.
  void viewDidLoad() override;
  // Adds the spinner to the root view.
  void addViews();

  // Makes one back-image view and one icon view per app name, then builds
  // the wall (creatRecommendWall).
  void loadWithData();
  // The empty state: the "猜你喜欢" placeholder image and a close button.
  void loadWithNoData();
  // Lays out every card and control on the main thread and inserts them
  // through blocks queued on the main queue, in a fixed order; only cards
  // 0 and 1 get their images here.
  void creatRecommendWall();

  // Button actions: close dismisses the wall and tells closeAD; download
  // reports tapAD with the current page and, online, takes the card off
  // the wall and rebuilds it.
  void closeRecommendWall(const std::shared_ptr<kit::Control>& sender);
  void downloadAPP(const std::shared_ptr<kit::Control>& sender);

  // Paging: a swipe that starts to slow down pre-fetches the next card's
  // images (more than two cards only); settling on a different page
  // reports its impression with numberArrM()[page].
  void scrollViewWillBeginDecelerating(kit::ScrollView& scrollView) override;
  void scrollViewDidEndDecelerating(kit::ScrollView& scrollView) override;
  // Hands the pre-fetched images of card page to its views, when both
  // arrived; empties imageDataArr in every case.
  void updateUI(std::int64_t page);

  // The wall allows portrait only and does not rotate.
  bool shouldAutorotate() override { return false; }
  kit::InterfaceOrientation preferredInterfaceOrientationForPresentation() override {
    return kit::InterfaceOrientationPortrait;
  }

  // --- Members, with plain accessors ----------------------------------------
  float coefficientVertiacl() const { return coefficientVertiacl_; }
  float coefficientHorizontal() const { return coefficientHorizontal_; }
  std::shared_ptr<QDXADRequest> adRequest() const { return adRequest_; }
  // The content arrays, parallel: entry k describes card k.
  TextList& appNames() { return appNames_; }
  TextList& icons() { return icons_; }
  TextList& backImages() { return backImages_; }
  TextList& descriptions() { return descriptions_; }
  TextList& expands() { return expands_; }
  // Per card: its index in the ad list as first received.
  std::vector<std::int64_t>& numberArrM() { return numberArrM_; }
  void setNumberArrM(std::vector<std::int64_t> numbers) { numberArrM_ = std::move(numbers); }
  std::vector<std::shared_ptr<kit::ImageView>>& backImageViews() { return backImageViews_; }
  std::vector<std::shared_ptr<kit::ImageView>>& iconViews() { return iconViews_; }
  std::shared_ptr<kit::ScrollView> scrollView() const { return scrollView_; }
  std::shared_ptr<kit::PageControl> pageControl() const { return pageControl_; }
  std::shared_ptr<kit::ActivityIndicatorView> indicatorView() const { return indicatorView_; }
  // The serial queue "imageDownloadQueue" the pre-fetches run on.
  std::shared_ptr<SerialQueue> queue() const { return queue_; }
  // A copy of the hand-over buffer (taken under the controller's lock).
  std::vector<std::string> imageDataArr();
  // Held weakly.
  std::shared_ptr<QDXADEventDelegate> eventDelegate() const { return eventDelegate_.lock(); }
  void setEventDelegate(std::weak_ptr<QDXADEventDelegate> delegate) {
    eventDelegate_ = std::move(delegate);
  }

 private:
  QDXRecommendWallVC() = default;
  // The design's scale on this screen (defined with the design).
  struct Scale;
  Scale scale() const;

  // This controller as a shared_ptr, for weak captures in queued blocks.
  std::shared_ptr<QDXRecommendWallVC> sharedWall();

  // The wall's parts, in the order creatRecommendWall builds them. Each
  // add* lays its part out now and queues its insertion on the main queue.
  std::shared_ptr<kit::Label> makeTitle(const Scale& s);
  std::shared_ptr<kit::ScrollView> makeStrip(const Scale& s);
  // The title and the strip of cards, which becomes scrollView().
  void addTitleAndStrip(const Scale& s);
  // Card k: back image, tint, icon, name and description; cards 0 and 1
  // with their images.
  void addCard(const Scale& s, std::size_t k);
  // Fresh page dots, replacing the last build's.
  void addPageControl(const Scale& s);
  // The download button with its arrow.
  void addDownloadButton(const Scale& s);
  // The footer: the "Powered by QDX" line.
  void addFooter(const Scale& s);
  // The close button, tagged as the wall's; then the spinner stops.
  void addCloseButton();
  // A custom close button at the top right, wired to closeRecommendWall;
  // without an image or a tag.
  std::shared_ptr<kit::Button> makeCloseButton();

  float coefficientVertiacl_ = 1;
  float coefficientHorizontal_ = 1;
  std::shared_ptr<QDXADRequest> adRequest_;
  TextList appNames_, icons_, backImages_, descriptions_, expands_;
  std::vector<std::int64_t> numberArrM_;
  std::vector<std::shared_ptr<kit::ImageView>> backImageViews_, iconViews_;
  std::shared_ptr<kit::ScrollView> scrollView_;
  std::shared_ptr<kit::PageControl> pageControl_;
  std::shared_ptr<kit::ActivityIndicatorView> indicatorView_;
  std::weak_ptr<QDXADEventDelegate> eventDelegate_;
  // The controller's lock: pre-fetches hold it while they fetch, so they
  // run one after another.
  std::mutex lock_;
  // Guards icons_ and backImages_ between the main thread, which shortens
  // them, and a pre-fetch, which reads its card's addresses when it runs.
  std::mutex content_;
  // The hand-over buffer of one page's pre-fetched images (back image,
  // icon). It has a lock of its own so that the main thread never waits
  // behind a pre-fetch's download.
  std::mutex handOver_;
  std::vector<std::string> imageDataArr_;
  std::shared_ptr<SerialQueue> queue_;
};

}  // namespace qdx
