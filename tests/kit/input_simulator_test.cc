// Taps reaching the right target, swipes settling on pages, alert presses.
#include "qdx/kit/InputSimulator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qdx/kit/Button.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/TapGestureRecognizer.h"
#include "support/test_env.h"

namespace qdx::kit {
namespace {

struct ClickLog : AlertViewDelegate {
  std::vector<long> clicks;
  void clickedButtonAtIndex(AlertView&, long index) override { clicks.push_back(index); }
};

class Taps : public ::testing::Test {
 protected:
  void SetUp() override {
    window_->addSubview(back_);
    back_->addGestureRecognizer(recognizer("back"));
  }
  std::shared_ptr<TapGestureRecognizer> recognizer(std::string name) {
    return std::make_shared<TapGestureRecognizer>(
        owner_, [this, name](const std::shared_ptr<TapGestureRecognizer>&) { hits_.push_back(name); });
  }
  std::shared_ptr<Button> button(std::string name, Rect frame, std::shared_ptr<View> parent) {
    auto b = Button::buttonWithType(ButtonTypeCustom);
    b->setFrame(frame);
    b->addTarget(owner_, [this, name](const std::shared_ptr<Control>&) { hits_.push_back(name); },
                 ControlEventTouchUpInside);
    parent->addSubview(b);
    return b;
  }
  // The name of what a tap at p reached, "" when nothing ran.
  std::string tap(Point p) {
    hits_.clear();
    bool ran = tapAt(window_, p);
    EXPECT_EQ(ran, !hits_.empty());
    return hits_.empty() ? "" : hits_.back();
  }

  TestEnv env_;
  std::shared_ptr<int> owner_ = std::make_shared<int>(0);
  std::shared_ptr<Window> window_ = std::make_shared<Window>();
  std::shared_ptr<View> back_ = std::make_shared<View>(Rect(0, 0, 320, 568));
  std::vector<std::string> hits_;
};

TEST_F(Taps, HitTestingFindsTheTopmostViewThatTakesTouches) {
  auto under = button("under", Rect(0, 0, 100, 100), back_);
  button("over", Rect(50, 50, 100, 100), back_);
  // Over "visible": a hidden, a nearly transparent and a non-interactive button.
  button("visible", Rect(200, 0, 50, 50), back_);
  button("hidden", Rect(200, 0, 50, 50), back_)->setHidden(true);
  button("faint", Rect(200, 0, 50, 50), back_)->setAlpha(0.005);
  button("off", Rect(200, 0, 50, 50), back_)->setUserInteractionEnabled(false);
  // An image view takes no touches, so neither does its close button.
  auto image = std::make_shared<ImageView>(Rect(0, 150, 320, 50));
  back_->addSubview(image);
  button("close", Rect(290, 0, 30, 30), image);
  // Scrolled content is hit where it shows.
  auto scroll = std::make_shared<ScrollView>(Rect(0, 350, 320, 100));
  back_->addSubview(scroll);
  scroll->setContentSize({640, 100});
  button("page0", Rect(0, 0, 320, 100), scroll);
  button("page1", Rect(320, 0, 320, 100), scroll);
  scroll->setContentOffset({320, 0});
  // A disabled control swallows the tap.
  button("disabled", Rect(0, 500, 50, 50), back_)->setEnabled(false);

  const struct {
    Point at;
    std::string reached;
  } cases[] = {
      {{75, 75}, "over"},    {{20, 20}, "under"},  {{210, 10}, "visible"},
      {{300, 160}, "back"},  {{100, 400}, "page1"}, {{10, 510}, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(tap(c.at), c.reached) << c.at.x << "," << c.at.y;

  image->setUserInteractionEnabled(true);
  EXPECT_EQ(tap({300, 160}), "close");
  hits_.clear();
  tapView(under);  // at its centre, "over" is on top
  EXPECT_EQ(hits_.back(), "over");
}

TEST_F(Taps, APresentedControllerTakesTheScreenAndAlertsOverItTakeEveryTap) {
  auto root = std::make_shared<ViewController>();
  window_->setRootViewController(root);
  button("root", Rect(0, 0, 100, 100), root->view());
  auto wall = std::make_shared<ViewController>();
  root->presentViewController(wall, true, nullptr);
  button("wall", Rect(0, 400, 100, 100), wall->view());
  EXPECT_EQ(tap({10, 10}), "");
  EXPECT_EQ(tap({10, 410}), "wall");

  auto alert = AlertController::alertControllerWithTitle("请先连接网络", std::nullopt,
                                                         AlertControllerStyleAlert);
  alert->addAction(AlertAction::actionWithTitle("取消", AlertActionStyleCancel, nullptr));
  alert->addAction(AlertAction::actionWithTitle(
      "确定", AlertActionStyleDefault, [this](const auto&) { hits_.push_back("确定"); }));
  EXPECT_FALSE(pressAlertAction(alert, 0));  // not on screen yet
  wall->presentViewController(alert, true, nullptr);
  EXPECT_EQ(tap({10, 410}), "");
  EXPECT_TRUE(pressAlertAction(alert, std::string("确定")));
  EXPECT_EQ(hits_.back(), "确定");
  EXPECT_EQ(tap({10, 410}), "wall");  // the alert is gone

  // Alert views: a button reaches the delegate and closes the alert.
  auto delegate = std::make_shared<ClickLog>();
  auto view = std::make_shared<AlertView>("请先连接网络", std::nullopt, delegate, "取消",
                                          std::vector<std::string>{"确定"});
  EXPECT_FALSE(pressAlertViewButton(view, 1));  // not on screen yet
  view->show();
  EXPECT_TRUE(pressAlertViewButton(view, 1));
  EXPECT_EQ(delegate->clicks, (std::vector<long>{1}));
  EXPECT_FALSE(view->isVisible());
  // An alert not owned by a shared_ptr stays off screen instead of throwing.
  AlertView loose("请先连接网络", std::nullopt, delegate, "取消", {});
  loose.show();
  EXPECT_FALSE(loose.isVisible());
}

// --- Swipes ------------------------------------------------------------------

struct PagingLog : ScrollViewDelegate {
  std::vector<std::string> calls;
  void scrollViewWillBeginDecelerating(ScrollView& s) override {
    calls.push_back("will@" + std::to_string(static_cast<int>(s.contentOffset().x)));
  }
  void scrollViewDidEndDecelerating(ScrollView& s) override {
    calls.push_back("did@" + std::to_string(static_cast<int>(s.contentOffset().x)));
  }
};

TEST(Swipes, PagesSettleInTheSwipesDirectionInsideTheContent) {
  auto scroll = std::make_shared<ScrollView>(Rect(0, 114, 320, 271));
  scroll->setContentSize({4 * 320, 10});
  scroll->setPagingEnabled(true);
  auto log = std::make_shared<PagingLog>();
  scroll->setDelegate(log);
  const struct {
    double distance;
    long page;
  } steps[] = {{100, 1}, {160, 2}, {-20, 1}, {5000, 3}, {200, 3}, {-5000, 0}, {-200, 0}, {0, 0}};
  for (const auto& s : steps) EXPECT_EQ(swipe(scroll, s.distance), s.page) << s.distance;
  ASSERT_EQ(log->calls.size(), 14u);  // a zero distance calls nothing
  // Deceleration starts where the finger let go and ends on the page.
  EXPECT_EQ(log->calls[0], "will@100");
  EXPECT_EQ(log->calls[1], "did@320");
  EXPECT_EQ(log->calls[10], "will@-279");  // a pull before the first page resists and bounces
  scroll->setBounces(false);
  swipe(scroll, -200);
  EXPECT_EQ(log->calls[14], "will@0");
  EXPECT_EQ(swipe(scroll, 10), 0);  // within the slop: no drag, nothing heard
  EXPECT_EQ(log->calls.size(), 16u);
  log.reset();  // a gone delegate is harmless
  EXPECT_EQ(swipe(scroll, 20), 1);
}

}  // namespace
}  // namespace qdx::kit
