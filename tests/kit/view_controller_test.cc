// View controllers: the lazily made root view, modal presentation and
// dismissal, and windows installing their root controller.
#include "qdx/kit/ViewController.h"

#include <gtest/gtest.h>

#include "qdx/kit/Window.h"
#include "support/test_env.h"

namespace qdx::kit {
namespace {

struct CountingController : ViewController {
  int loads = 0;
  void viewDidLoad() override {
    ++loads;
    view()->setBackgroundColor(Color::white());  // re-entrant use of view()
  }
};

class Presentation : public ::testing::Test {
 protected:
  void SetUp() override {
    env_.setMainScreen({320, 568, 2});
    window_->setRootViewController(root_);
  }
  TestEnv env_;
  std::shared_ptr<Window> window_ = std::make_shared<Window>();
  std::shared_ptr<ViewController> root_ = std::make_shared<ViewController>();
  int completions_ = 0;
  ViewController::Completion count_ = [this] { ++completions_; };
};

TEST_F(Presentation, ThePresenterOwnsThePresentedUntilItDismissesItselfAndRefusalsChangeNothing) {
  std::weak_ptr<CountingController> weak;
  {
    auto wall = std::make_shared<CountingController>();
    weak = wall;
    root_->presentViewController(wall, true, count_);
    EXPECT_EQ(wall->presentingViewController(), root_);
    EXPECT_EQ(window_->topPresentedViewController(), wall);
    EXPECT_EQ(wall->loads, 1);  // presenting loads the view, once
    EXPECT_EQ(wall->view()->frame(), Rect(0, 0, 320, 568));
  }
  ASSERT_FALSE(weak.expired());
  weak.lock()->dismissViewController(true, count_);
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(completions_, 2);
  EXPECT_EQ(root_->presentedViewController(), nullptr);

  // Refused presentations change nothing and complete nothing.
  completions_ = 0;
  auto first = std::make_shared<ViewController>();
  auto second = std::make_shared<ViewController>();
  auto loose = std::make_shared<ViewController>();  // its view is in no window
  root_->presentViewController(first, false, nullptr);
  root_->presentViewController(second, false, count_);  // already presenting
  loose->presentViewController(second, false, count_);
  root_->presentViewController(nullptr, false, count_);
  first->presentViewController(first, false, count_);
  EXPECT_EQ(completions_, 0);
  EXPECT_EQ(root_->presentedViewController(), first);
  EXPECT_EQ(second->presentingViewController(), nullptr);
}

TEST_F(Presentation, DismissingFromBelowTakesTheWholeStackAndAnEmptyDismissStillCompletes) {
  auto wall = std::make_shared<ViewController>();
  auto alert = std::make_shared<ViewController>();
  root_->presentViewController(wall, true, nullptr);
  wall->presentViewController(alert, true, nullptr);  // a presented one presents in turn
  EXPECT_EQ(window_->topPresentedViewController(), alert);
  root_->dismissViewController(false, nullptr);
  EXPECT_EQ(window_->topPresentedViewController(), root_);
  EXPECT_EQ(alert->presentingViewController(), nullptr);
  // The wall is now off screen: it can neither present nor dismiss, but the
  // caller still hears the completion.
  wall->presentViewController(alert, true, nullptr);
  EXPECT_EQ(wall->presentedViewController(), nullptr);
  wall->dismissViewController(true, count_);
  root_->dismissViewController(true, count_);
  EXPECT_EQ(completions_, 2);
}

}  // namespace
}  // namespace qdx::kit
