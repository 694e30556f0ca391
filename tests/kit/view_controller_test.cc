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
};

TEST(ViewControllerView, IsMadeOnceOnFirstUseAtScreenSize) {
  TestEnv env;
  env.setMainScreen({375, 667, 2});
  auto vc = std::make_shared<CountingController>();
  EXPECT_FALSE(vc->isViewLoaded());
  auto view = vc->view();
  EXPECT_EQ(vc->view(), view);
  EXPECT_EQ(vc->loads, 1);
  EXPECT_EQ(view->frame(), Rect(0, 0, 375, 667));
  EXPECT_EQ(view->viewController(), vc);
  EXPECT_EQ(view->nextResponder(), vc);
}

TEST_F(Presentation, PresentingLinksBothWaysAndCallsTheCompletion) {
  auto wall = std::make_shared<ViewController>();
  bool completed = false;
  root_->presentViewController(wall, true, [&] { completed = true; });
  EXPECT_TRUE(completed);
  EXPECT_EQ(root_->presentedViewController(), wall);
  EXPECT_EQ(wall->presentingViewController(), root_);
  EXPECT_EQ(window_->topPresentedViewController(), wall);
  EXPECT_EQ(wall->view()->frame(), Rect(0, 0, 320, 568));
}

TEST_F(Presentation, ASecondPresentationFromTheSamePresenterIsRefused) {
  auto first = std::make_shared<ViewController>();
  auto second = std::make_shared<ViewController>();
  root_->presentViewController(first, false, nullptr);
  bool completed = false;
  root_->presentViewController(second, false, [&] { completed = true; });
  EXPECT_FALSE(completed);
  EXPECT_EQ(root_->presentedViewController(), first);
  EXPECT_EQ(second->presentingViewController(), nullptr);
  // The presented one can present in turn.
  first->presentViewController(second, false, nullptr);
  EXPECT_EQ(window_->topPresentedViewController(), second);
}

TEST_F(Presentation, AControllerOffScreenCannotPresent) {
  auto loose = std::make_shared<ViewController>();
  auto other = std::make_shared<ViewController>();
  loose->presentViewController(other, false, nullptr);
  EXPECT_EQ(loose->presentedViewController(), nullptr);
  root_->presentViewController(nullptr, false, nullptr);
  EXPECT_EQ(root_->presentedViewController(), nullptr);
}

TEST_F(Presentation, ThePresentedControllerDismissesItselfThroughItsPresenter) {
  auto wall = std::make_shared<ViewController>();
  root_->presentViewController(wall, true, nullptr);
  bool completed = false;
  wall->dismissViewController(true, [&] { completed = true; });
  EXPECT_TRUE(completed);
  EXPECT_EQ(root_->presentedViewController(), nullptr);
  EXPECT_EQ(wall->presentingViewController(), nullptr);
  // Once dismissed it can no longer present (it is off screen).
  auto alert = std::make_shared<ViewController>();
  wall->presentViewController(alert, true, nullptr);
  EXPECT_EQ(wall->presentedViewController(), nullptr);
}

TEST_F(Presentation, DismissingFromBelowTakesTheWholeStack) {
  auto wall = std::make_shared<ViewController>();
  auto alert = std::make_shared<ViewController>();
  root_->presentViewController(wall, true, nullptr);
  wall->presentViewController(alert, true, nullptr);
  root_->dismissViewController(false, nullptr);
  EXPECT_EQ(window_->topPresentedViewController(), root_);
  EXPECT_EQ(alert->presentingViewController(), nullptr);
  EXPECT_EQ(wall->presentedViewController(), nullptr);
}

TEST_F(Presentation, ThePresenterOwnsThePresentedControllerUntilDismissal) {
  std::weak_ptr<ViewController> weak;
  {
    auto wall = std::make_shared<ViewController>();
    weak = wall;
    root_->presentViewController(wall, true, nullptr);
  }
  EXPECT_FALSE(weak.expired());
  root_->dismissViewController(true, nullptr);
  EXPECT_TRUE(weak.expired());
}

TEST_F(Presentation, ReplacingTheRootSwapsItsViewInTheWindow) {
  auto next = std::make_shared<ViewController>();
  auto oldView = root_->view();
  window_->setRootViewController(next);
  ASSERT_EQ(window_->subviews().size(), 1u);
  EXPECT_EQ(window_->subviews()[0], next->view());
  EXPECT_EQ(oldView->superview(), nullptr);
  EXPECT_EQ(next->view()->window(), window_);
  EXPECT_EQ(next->nextResponder(), window_);
}

}  // namespace
}  // namespace qdx::kit
