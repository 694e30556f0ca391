// Pointer events on a surface as a finger on a phone: taps within the slop,
// drags that cancel buttons, paging drags that follow the finger, bounce at
// the ends and settle on a page (the delegate hearing the release at the
// finger's offset and the end on the page), alerts that take every pointer
// and hidden or removed views that take none.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "kit/surface_support.h"
#include "qdx/kit/Kit.h"
#include "qdx/kit/Surface.h"

namespace qdx::kit {
namespace {

struct PagingLog : ScrollViewDelegate {
  std::vector<std::string> calls;
  void scrollViewWillBeginDecelerating(ScrollView& s) override {
    calls.push_back("will@" + std::to_string(static_cast<int>(std::lround(s.contentOffset().x))));
  }
  void scrollViewDidEndDecelerating(ScrollView& s) override {
    calls.push_back("did@" + std::to_string(static_cast<int>(std::lround(s.contentOffset().x))));
  }
};

class Gestures : public ::testing::Test {
 protected:
  void SetUp() override {
    env_.setMainScreen({320, 568, 2});
    env_.setMonotonicNow(50);
    window_ = std::make_shared<Window>(Rect(0, 0, 320, 568));
    auto root = std::make_shared<ViewController>();
    window_->setRootViewController(root);
    window_->makeKeyAndVisible();
    strip_ = std::make_shared<ScrollView>(Rect(0, 100, 320, 270));
    strip_->setContentSize({4 * 320, 10});
    strip_->setPagingEnabled(true);
    strip_->setDelegate(log_);
    root->view()->addSubview(strip_);
    button_ = Button::buttonWithType(ButtonTypeCustom);
    button_->setFrame(Rect(60, 450, 200, 40));
    button_->addAction([this](const std::shared_ptr<Control>&) { ++taps_; }, ControlEventTouchUpInside);
    button_->addAction([this](const std::shared_ptr<Control>&) { ++cancels_; }, ControlEventTouchCancel);
    root->view()->addSubview(button_);
    surface_ = std::make_unique<Surface>(window_, 2);
  }

  // A drag on the strip from (x0, 200) to (x1, 200) over seconds, a 60 Hz
  // frame apart, released there; the clock follows the events.
  void drag(double x0, double x1, double seconds, bool release = true) {
    double t = env_.monotonicNow();
    ASSERT_TRUE(surface_->pointerDown({x0, 200}, t));
    int frames = std::max(1, static_cast<int>(std::lround(seconds * 60)));
    for (int i = 1; i <= frames; ++i) {
      env_.advanceMonotonic(seconds / frames);
      surface_->pointerMove({x0 + (x1 - x0) * i / frames, 200}, env_.monotonicNow());
    }
    if (release) surface_->pointerUp({x1, 200}, env_.monotonicNow());
  }

  TestEnv env_;
  std::shared_ptr<Window> window_;
  std::shared_ptr<ScrollView> strip_;
  std::shared_ptr<PagingLog> log_ = std::make_shared<PagingLog>();
  std::shared_ptr<Button> button_;
  std::unique_ptr<Surface> surface_;
  int taps_ = 0;
  int cancels_ = 0;
};

// --- Tap, slop, cancel ----------------------------------------------------------

TEST_F(Gestures, ATapIsADownAndAnUpCloseAndSoon) {
  EXPECT_TRUE(surface_->pointerDown({100, 470}, 50));
  EXPECT_TRUE(button_->isHighlighted());
  EXPECT_TRUE(surface_->pointerMove({108, 474}, 50.1));  // inside the slop
  EXPECT_TRUE(surface_->pointerUp({108, 474}, 50.2));
  EXPECT_EQ(taps_, 1);
  EXPECT_FALSE(button_->isHighlighted());

  // Held too long: no tap.
  surface_->pointerDown({100, 470}, 51);
  surface_->pointerUp({100, 470}, 51.6);
  EXPECT_EQ(taps_, 1);
  // Outside every view: the host keeps the event.
  auto bare = std::make_shared<Window>(Rect(0, 0, 320, 568));
  Surface empty(bare, 1);
  EXPECT_FALSE(empty.pointerDown({5, 30}, 52));
  EXPECT_FALSE(empty.pointerUp({5, 30}, 52.1));
}

TEST_F(Gestures, MovingPastTheSlopCancelsTheButton) {
  surface_->pointerDown({100, 470}, 50);
  surface_->pointerMove({115, 470}, 50.05);
  EXPECT_FALSE(button_->isHighlighted());
  EXPECT_EQ(cancels_, 1);
  surface_->pointerMove({100, 470}, 50.1);  // coming back does not revive it
  surface_->pointerUp({100, 470}, 50.15);
  EXPECT_EQ(taps_, 0);
  // The host losing the pointer drops a pending tap.
  surface_->pointerDown({100, 470}, 51);
  surface_->pointerCancel();
  EXPECT_FALSE(surface_->pointerUp({100, 470}, 51.1));
  EXPECT_EQ(taps_, 0);
}

// --- Drag, fling, settle, bounce ------------------------------------------------

TEST_F(Gestures, ADragFollowsTheFingerAndASlowReleaseSettlesOnTheNearestPage) {
  drag(300, 100, 1.0, /*release=*/false);  // slow: 200 points in a second
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, 200);
  surface_->pointerUp({100, 200}, env_.monotonicNow());
  // The delegate hears the release where the finger left the content.
  ASSERT_EQ(log_->calls, (std::vector<std::string>{"will@200"}));
  // It eases out to page 1 over about 0.3 s and says so when there.
  stepFrames(env_, 0.1);
  double early = strip_->contentOffset().x;
  EXPECT_GT(early, 260);  // ease-out: most of the way in the first third
  EXPECT_LT(early, 320);
  EXPECT_EQ(log_->calls.size(), 1u);
  stepFrames(env_, 0.25);
  EXPECT_EQ(log_->calls, (std::vector<std::string>{"will@200", "did@320"}));
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, 320);
  EXPECT_EQ(taps_, 0);
}

TEST_F(Gestures, AFlingMovesOnePageAtMostInItsDirection) {
  drag(200, 150, 0.05);  // 1000 points a second to the left
  stepFrames(env_, 0.4);
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, 320);  // a short fling still turns the page
  drag(300, 20, 0.05);   // fast and far: from page 1 to page 2, no further
  stepFrames(env_, 0.4);
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, 640);
  drag(100, 130, 0.05);  // back
  stepFrames(env_, 0.4);
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, 320);
  EXPECT_EQ(log_->calls, (std::vector<std::string>{"will@50", "did@320", "will@600", "did@640",
                                                    "will@610", "did@320"}));
}

TEST_F(Gestures, PastTheEndsTheContentResistsAndBouncesBack) {
  drag(100, 300, 0.5, /*release=*/false);  // 200 points before the first page
  double pulled = strip_->contentOffset().x;
  EXPECT_LT(pulled, 0);
  EXPECT_GT(pulled, -200 / 2.0);  // it resists: far less than the finger
  surface_->pointerUp({300, 200}, env_.monotonicNow());
  stepFrames(env_, 0.4);
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, 0);
  EXPECT_EQ(log_->calls.back(), "did@0");

  strip_->setBounces(false);
  drag(100, 300, 0.5, /*release=*/false);
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, 0);
  surface_->pointerUp({300, 200}, env_.monotonicNow());
  stepFrames(env_, 0.4);
}

// A mouse behind a letterbox gives fractions of a point, and so does the
// ease-out; the content still moves by whole pixels of the 2x screen.
TEST_F(Gestures, TheFingerAndTheSettleMoveTheContentByWholePixels) {
  auto onGrid = [&] {
    double pixels = strip_->contentOffset().x * 2;
    return std::abs(pixels - std::round(pixels)) < 1e-9;
  };
  ASSERT_TRUE(surface_->pointerDown({300.3, 200}, env_.monotonicNow()));
  for (int i = 1; i <= 20; ++i) {
    env_.advanceMonotonic(1.0 / 60);
    surface_->pointerMove({300.3 - 7.77 * i, 200}, env_.monotonicNow());
    EXPECT_TRUE(onGrid()) << strip_->contentOffset().x;
  }
  EXPECT_NEAR(strip_->contentOffset().x, 155.4, 0.25);
  surface_->pointerUp({300.3 - 7.77 * 20, 200}, env_.monotonicNow());
  for (int i = 0; i < 24; ++i) {
    stepFrames(env_, 1.0 / 60);
    EXPECT_TRUE(onGrid()) << strip_->contentOffset().x;
  }
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, 320);  // the fling's page, exactly
  // The rubber band's fractions too, before the first page.
  strip_->setContentOffset({0, 0});
  drag(20.1, 250.6, 0.5, /*release=*/false);
  EXPECT_LT(strip_->contentOffset().x, 0);
  EXPECT_TRUE(onGrid()) << strip_->contentOffset().x;
}

TEST_F(Gestures, AFingerOnSettlingContentStopsItAndIsNoTap) {
  auto card = Button::buttonWithType(ButtonTypeCustom);
  card->setFrame(Rect(0, 0, 1280, 270));
  int cardTaps = 0;
  card->addAction([&](const std::shared_ptr<Control>&) { ++cardTaps; }, ControlEventTouchUpInside);
  strip_->addSubview(card);
  drag(200, 150, 0.05);
  stepFrames(env_, 0.05);
  double caught = strip_->contentOffset().x;
  surface_->pointerDown({160, 200}, env_.monotonicNow());
  surface_->pointerUp({160, 200}, env_.monotonicNow());
  EXPECT_EQ(cardTaps, 0);
  stepFrames(env_, 0.4);
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, caught);
  // A tap on the resting content reaches the card.
  surface_->pointerDown({160, 200}, env_.monotonicNow());
  surface_->pointerUp({160, 200}, env_.monotonicNow());
  EXPECT_EQ(cardTaps, 1);
}

// --- Alerts -----------------------------------------------------------------------

struct AlertLog : AlertViewDelegate {
  std::vector<long> clicks;
  void clickedButtonAtIndex(AlertView&, long index) override { clicks.push_back(index); }
};

TEST_F(Gestures, AnAlertOnScreenTakesEveryPointer) {
  auto delegate = std::make_shared<AlertLog>();
  auto alert = std::make_shared<AlertView>("请先连接网络", std::nullopt, delegate, "取消",
                                           std::vector<std::string>{});
  alert->show();
  // Under the alert the button and the strip get nothing, yet the host
  // must not take the pointer either.
  EXPECT_TRUE(surface_->pointerDown({100, 470}, 50));
  EXPECT_FALSE(button_->isHighlighted());
  EXPECT_TRUE(surface_->pointerUp({100, 470}, 50.1));
  env_.advanceMonotonic(1);
  drag(300, 100, 0.2);
  EXPECT_DOUBLE_EQ(strip_->contentOffset().x, 0);
  EXPECT_EQ(taps_, 0);
  EXPECT_TRUE(log_->calls.empty());
  EXPECT_TRUE(alert->isVisible());
  // Its button, in the middle of the screen below the title, takes a tap.
  double t = env_.monotonicNow();
  EXPECT_TRUE(surface_->pointerDown({160, 284 + 20}, t));
  EXPECT_TRUE(surface_->pointerUp({160, 284 + 20}, t + 0.05));
  EXPECT_EQ(delegate->clicks, (std::vector<long>{0}));
  EXPECT_FALSE(alert->isVisible());
  // Gone, it lets pointers through again.
  surface_->pointerDown({100, 470}, t + 1);
  surface_->pointerUp({100, 470}, t + 1.05);
  EXPECT_EQ(taps_, 1);
}

// --- Hidden and removed views ---------------------------------------------------

TEST_F(Gestures, AHiddenOrRemovedBannerTakesNothing) {
  auto banner = std::make_shared<ImageView>(Rect(0, 500, 320, 50));
  banner->setUserInteractionEnabled(true);
  auto tap = std::make_shared<TapGestureRecognizer>();
  int bannerTaps = 0;
  tap->addAction([&](const std::shared_ptr<TapGestureRecognizer>&) { ++bannerTaps; });
  banner->addGestureRecognizer(tap);
  window_->rootViewController()->view()->addSubview(banner);
  EXPECT_TRUE(surface_->pointerDown({160, 520}, 50));
  EXPECT_TRUE(surface_->pointerUp({160, 520}, 50.05));
  EXPECT_EQ(bannerTaps, 1);

  banner->setHidden(true);
  // Under it only the transparent root view: the host keeps the pointer.
  EXPECT_FALSE(surface_->pointerDown({160, 520}, 51));
  surface_->pointerUp({160, 520}, 51.05);
  banner->setHidden(false);
  banner->removeFromSuperview();
  surface_->pointerDown({160, 520}, 52);
  surface_->pointerUp({160, 520}, 52.05);
  EXPECT_EQ(bannerTaps, 1);
}

}  // namespace
}  // namespace qdx::kit
