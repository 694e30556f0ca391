// Taps reaching the right target, swipes settling on pages, alert presses.
#include "kit/input_simulator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qdx/kit/Application.h"
#include "qdx/kit/Button.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/TapGestureRecognizer.h"
#include "support/test_env.h"

namespace qdx::kit {
namespace {

class Taps : public ::testing::Test {
 protected:
  void SetUp() override {
    env_.setMainScreen({320, 568, 2});
    window_ = std::make_shared<Window>();
    back_ = std::make_shared<View>(Rect(0, 0, 320, 568));
    window_->addSubview(back_);
    back_->addGestureRecognizer(recognizer("back"));
  }

  std::shared_ptr<TapGestureRecognizer> recognizer(std::string name) {
    return std::make_shared<TapGestureRecognizer>(
        owner_, [this, name](const std::shared_ptr<TapGestureRecognizer>&) { hits_.push_back(name); });
  }
  std::shared_ptr<Button> button(std::string name, Rect frame) {
    auto b = Button::buttonWithType(ButtonTypeCustom);
    b->setFrame(frame);
    b->addTarget(owner_, [this, name](const std::shared_ptr<Control>&) { hits_.push_back(name); },
                 ControlEventTouchUpInside);
    return b;
  }

  TestEnv env_;
  std::shared_ptr<int> owner_ = std::make_shared<int>(0);
  std::shared_ptr<Window> window_;
  std::shared_ptr<View> back_;
  std::vector<std::string> hits_;
};

TEST_F(Taps, TheLastAddedOfOverlappingChildrenTakesTheTap) {
  back_->addSubview(button("under", Rect(0, 0, 100, 100)));
  back_->addSubview(button("over", Rect(50, 50, 100, 100)));
  EXPECT_TRUE(tapAt(window_, {75, 75}));
  EXPECT_TRUE(tapAt(window_, {20, 20}));
  EXPECT_EQ(hits_, (std::vector<std::string>{"over", "under"}));
}

TEST_F(Taps, HiddenTransparentAndNonInteractiveViewsLetTheTapThrough) {
  auto hidden = button("hidden", Rect(0, 0, 50, 50));
  hidden->setHidden(true);
  auto faint = button("faint", Rect(0, 0, 50, 50));
  faint->setAlpha(0.005);
  auto off = button("off", Rect(0, 0, 50, 50));
  off->setUserInteractionEnabled(false);
  back_->addSubview(button("visible", Rect(0, 0, 50, 50)));
  back_->addSubview(hidden);
  back_->addSubview(faint);
  back_->addSubview(off);
  tapAt(window_, {10, 10});
  faint->setAlpha(0.02);  // just visible enough to take touches
  tapAt(window_, {10, 10});
  EXPECT_EQ(hits_, (std::vector<std::string>{"visible", "faint"}));
}

TEST_F(Taps, AParentWithoutInteractionHidesItsChildren) {
  // An image view takes no touches until switched on: its button child is
  // unreachable and the tap falls to the view below.
  auto image = std::make_shared<ImageView>(Rect(0, 0, 320, 50));
  image->addSubview(button("close", Rect(290, 0, 30, 30)));
  back_->addSubview(image);
  tapAt(window_, {300, 10});
  image->setUserInteractionEnabled(true);
  tapAt(window_, {300, 10});
  EXPECT_EQ(hits_, (std::vector<std::string>{"back", "close"}));
}

TEST_F(Taps, ARecogniserOnTheHitViewOrAnAncestorFires) {
  auto image = std::make_shared<ImageView>(Rect(0, 100, 320, 50));
  image->setUserInteractionEnabled(true);
  auto tap = recognizer("image");
  image->addGestureRecognizer(tap);
  auto inner = std::make_shared<View>(Rect(0, 0, 10, 10));
  image->addSubview(inner);
  back_->addSubview(image);
  tapAt(window_, {5, 105});  // lands on inner, which has no recogniser
  EXPECT_EQ(hits_, (std::vector<std::string>{"image"}));
  EXPECT_EQ(tap->view(), image);
}

TEST_F(Taps, AChildOutsideItsParentsBoundsIsNotReached) {
  auto strip = std::make_shared<View>(Rect(0, 0, 100, 20));
  strip->addSubview(button("sticking-out", Rect(0, 30, 50, 50)));
  back_->addSubview(strip);
  tapAt(window_, {10, 40});
  EXPECT_EQ(hits_, (std::vector<std::string>{"back"}));
}

TEST_F(Taps, ScrolledContentIsHitAtItsVisiblePlace) {
  auto scroll = std::make_shared<ScrollView>(Rect(0, 0, 320, 200));
  scroll->setContentSize({640, 200});
  scroll->addSubview(button("page0", Rect(0, 0, 320, 200)));
  scroll->addSubview(button("page1", Rect(320, 0, 320, 200)));
  back_->addSubview(scroll);
  scroll->setContentOffset({320, 0});
  tapAt(window_, {100, 100});
  EXPECT_EQ(hits_, (std::vector<std::string>{"page1"}));
}

TEST_F(Taps, ADisabledControlSwallowsTheTap) {
  auto b = button("disabled", Rect(0, 0, 50, 50));
  b->setEnabled(false);
  back_->addSubview(b);
  EXPECT_FALSE(tapAt(window_, {10, 10}));
  EXPECT_TRUE(hits_.empty());
}

TEST_F(Taps, TapViewHitsWhateverIsOnTopAtTheCentre) {
  auto under = button("under", Rect(0, 0, 100, 100));
  back_->addSubview(under);
  back_->addSubview(button("cover", Rect(0, 0, 100, 100)));
  tapView(under);
  EXPECT_EQ(hits_, (std::vector<std::string>{"cover"}));
}

TEST_F(Taps, APresentedControllerTakesTheTapsOfTheScreen) {
  auto root = std::make_shared<ViewController>();
  window_->setRootViewController(root);
  root->view()->addSubview(button("root", Rect(0, 0, 100, 100)));
  auto modal = std::make_shared<ViewController>();
  root->presentViewController(modal, true, nullptr);
  modal->view()->addSubview(button("modal", Rect(0, 400, 100, 100)));
  tapAt(window_, {10, 10});   // nothing of the modal there
  tapAt(window_, {10, 410});
  EXPECT_EQ(hits_, (std::vector<std::string>{"modal"}));
}

// --- Swipes ------------------------------------------------------------------

struct PagingLog : ScrollViewDelegate {
  std::vector<std::string> calls;
  std::vector<double> offsets;
  void scrollViewWillBeginDecelerating(ScrollView& s) override {
    calls.push_back("will");
    offsets.push_back(s.contentOffset().x);
  }
  void scrollViewDidEndDecelerating(ScrollView& s) override {
    calls.push_back("did");
    offsets.push_back(s.contentOffset().x);
  }
};

class Swipes : public ::testing::Test {
 protected:
  void SetUp() override {
    scroll_->setContentSize({4 * 320, 10});
    scroll_->setPagingEnabled(true);
    scroll_->setDelegate(log_);
  }
  std::shared_ptr<ScrollView> scroll_ = std::make_shared<ScrollView>(Rect(0, 114, 320, 271));
  std::shared_ptr<PagingLog> log_ = std::make_shared<PagingLog>();
};

TEST_F(Swipes, AShortSwipeSettlesOnTheNextPageAfterBothCallbacks) {
  EXPECT_EQ(swipe(scroll_, 100), 1);
  EXPECT_EQ(log_->calls, (std::vector<std::string>{"will", "did"}));
  // The deceleration starts where the finger let go.
  EXPECT_EQ(log_->offsets, (std::vector<double>{100, 320}));
  EXPECT_EQ(scroll_->contentOffset(), (Point{320, 0}));
}

TEST_F(Swipes, SwipesSettleInTheirDirectionAndStayInsideTheContent) {
  EXPECT_EQ(swipe(scroll_, 1.5 * 320), 2);
  EXPECT_EQ(swipe(scroll_, -10), 1);
  EXPECT_EQ(swipe(scroll_, 5000), 3);
  EXPECT_EQ(swipe(scroll_, 200), 3);  // past the last page
  EXPECT_EQ(scroll_->contentOffset().x, 3 * 320);
  scroll_->setContentOffset({0, 0});
  EXPECT_EQ(swipe(scroll_, -200), 0);  // before the first page
  EXPECT_EQ(scroll_->contentOffset().x, 0);
}

TEST_F(Swipes, ASwipeBackFromTheFirstPageBouncesBelowZeroOnlyWithBounces) {
  swipe(scroll_, -200);
  EXPECT_LT(log_->offsets[0], 0);
  log_->offsets.clear();
  scroll_->setBounces(false);
  swipe(scroll_, -200);
  EXPECT_EQ(log_->offsets[0], 0);
}

TEST_F(Swipes, ZeroDistanceAndAGoneDelegateAreHarmless) {
  EXPECT_EQ(swipe(scroll_, 0), 0);
  EXPECT_TRUE(log_->calls.empty());
  log_.reset();
  EXPECT_EQ(swipe(scroll_, 100), 1);
}

TEST_F(Swipes, WithoutPagingTheOffsetStaysWhereTheFingerLeftIt) {
  scroll_->setPagingEnabled(false);
  swipe(scroll_, 100);
  EXPECT_EQ(scroll_->contentOffset().x, 100);
}

// --- Alerts --------------------------------------------------------------------

TEST(Alerts, PressingAnActionDismissesTheAlertThenRunsItsHandler) {
  TestEnv env;
  auto window = std::make_shared<Window>();
  auto root = std::make_shared<ViewController>();
  window->setRootViewController(root);
  auto alert = AlertController::alertControllerWithTitle("请先连接网络", std::nullopt,
                                                         AlertControllerStyleAlert);
  bool presentedDuringHandler = true;
  alert->addAction(AlertAction::actionWithTitle("取消", AlertActionStyleCancel, nullptr));
  alert->addAction(AlertAction::actionWithTitle(
      "确定", AlertActionStyleDefault,
      [&](const std::shared_ptr<AlertAction>&) { presentedDuringHandler = root->presentedViewController() != nullptr; }));

  EXPECT_FALSE(pressAlertAction(alert, 0));  // not on screen yet
  root->presentViewController(alert, true, nullptr);
  EXPECT_FALSE(tapAt(window, {160, 284}));  // the alert is modal
  EXPECT_TRUE(pressAlertAction(alert, std::string("确定")));
  EXPECT_FALSE(presentedDuringHandler);
  EXPECT_EQ(alert->presentingViewController(), nullptr);
}

struct ClickLog : AlertViewDelegate {
  std::vector<long> clicks;
  void clickedButtonAtIndex(AlertView&, long index) override { clicks.push_back(index); }
};

TEST(Alerts, AlertViewButtonsReachTheDelegateAndCloseTheAlert) {
  TestEnv env;
  auto delegate = std::make_shared<ClickLog>();
  auto alert = std::make_shared<AlertView>("请先连接网络", std::nullopt, delegate, "取消",
                                           std::vector<std::string>{"确定"});
  EXPECT_FALSE(pressAlertViewButton(alert, 1));
  alert->show();
  EXPECT_TRUE(alert->isVisible());
  EXPECT_FALSE(pressAlertViewButton(alert, 2));
  EXPECT_TRUE(pressAlertViewButton(alert, 1));
  EXPECT_EQ(delegate->clicks, (std::vector<long>{1}));
  EXPECT_FALSE(alert->isVisible());
}

}  // namespace
}  // namespace qdx::kit
