// Animations on a stepped clock: presentations dissolve in and out while
// the tree changes at once, the activity indicator spins a step at a time,
// and nothing moves unless the main loop is served and the clock steps.
#include <gtest/gtest.h>

#include <limits>

#include "kit/surface_support.h"
#include "qdx/kit/Kit.h"
#include "qdx/kit/Surface.h"

namespace qdx::kit {
namespace {

class Animations : public ::testing::Test {
 protected:
  void SetUp() override {
    env_.setMainScreen({100, 80, 1});
    env_.setMonotonicNow(10);
    window_ = std::make_shared<Window>(Rect(0, 0, 100, 80));
    root_ = std::make_shared<ViewController>();
    window_->setRootViewController(root_);
    root_->view()->setBackgroundColor(Color::white());
    surface_ = std::make_unique<Surface>(window_, 1);
  }
  // The red byte at (x, y) after a draw: 255 over the white root, 0 where
  // the blue wall is drawn whole.
  int redAt(int x, int y) {
    surface_->draw(frame_.data(), frame_.stride);
    return frame_.pixel(x, y)[2];
  }
  TestEnv env_;
  std::shared_ptr<Window> window_;
  std::shared_ptr<ViewController> root_;
  std::unique_ptr<Surface> surface_;
  FrameBuffer frame_{100, 80, 400};
};

TEST_F(Animations, APresentationDissolvesInWhileTheTreeHasItAtOnce) {
  auto wall = std::make_shared<ViewController>();
  wall->setModalTransitionStyle(ModalTransitionStyleCrossDissolve);
  wall->view()->setBackgroundColor(Color::rgba(0, 0, 1, 1));
  bool completed = false;
  root_->presentViewController(wall, true, [&] { completed = true; });
  EXPECT_TRUE(completed);
  EXPECT_EQ(root_->presentedViewController(), wall);
  EXPECT_EQ(hitTestWindow(window_, {50, 40}), wall->view());
  EXPECT_EQ(redAt(50, 40), 255);  // not drawn yet

  // Served but the clock still: nothing moves.
  RunLoop::main().pump();
  EXPECT_FALSE(surface_->needsDisplay());
  EXPECT_GT(RunLoop::main().secondsUntilNextDeadline(), 0);
  EXPECT_LE(RunLoop::main().secondsUntilNextDeadline(), 1.0 / 60 + 1e-9);
  stepFrames(env_, 0.1);
  EXPECT_TRUE(surface_->needsDisplay());
  int early = redAt(50, 40);
  EXPECT_GT(early, 0);
  EXPECT_LT(early, 128);  // ease-out: most of the way after a third of the time
  stepFrames(env_, 0.25);
  EXPECT_EQ(redAt(50, 40), 0);
  stepFrames(env_, 0.1);
  EXPECT_FALSE(surface_->needsDisplay());
  EXPECT_EQ(RunLoop::main().secondsUntilNextDeadline(), std::numeric_limits<double>::infinity());
}

TEST_F(Animations, ADismissedWallLeavesTheTreeAndCallsBackAtOnceThenFades) {
  auto wall = std::make_shared<ViewController>();
  wall->setModalTransitionStyle(ModalTransitionStyleCrossDissolve);
  wall->view()->setBackgroundColor(Color::rgba(0, 0, 1, 1));
  root_->presentViewController(wall, false, nullptr);
  EXPECT_EQ(redAt(50, 40), 0);  // not animated: there at once

  bool closed = false;
  wall->dismissViewController(true, [&] { closed = true; });
  EXPECT_TRUE(closed);
  EXPECT_EQ(root_->presentedViewController(), nullptr);
  // The tree no longer has it: a tap reaches the root's view.
  EXPECT_EQ(hitTestWindow(window_, {50, 40}), root_->view());
  // Yet it is still drawn, fading.
  EXPECT_EQ(redAt(50, 40), 0);
  stepFrames(env_, 0.1);
  int fading = redAt(50, 40);
  EXPECT_GT(fading, 0);
  EXPECT_LT(fading, 255);
  stepFrames(env_, 0.3);
  EXPECT_EQ(redAt(50, 40), 255);
}

TEST_F(Animations, TheSpinnerStepsTwelveTimesASecondWhileAnimating) {
  auto spinner = std::make_shared<ActivityIndicatorView>(ActivityIndicatorViewStyleGray);
  spinner->setFrame(Rect(40, 30, 20, 20));
  root_->view()->addSubview(spinner);
  spinner->startAnimating();
  surface_->draw(frame_.data(), frame_.stride);
  auto before = frame_.pixels();
  EXPECT_EQ(spinner->spinStep(), 0);
  stepFrames(env_, 0.05);  // not yet a twelfth of a second
  EXPECT_EQ(spinner->spinStep(), 0);
  stepFrames(env_, 0.05);
  EXPECT_EQ(spinner->spinStep(), 1);
  auto redrawn = surface_->draw(frame_.data(), frame_.stride);
  ASSERT_EQ(redrawn.size(), 1u);
  EXPECT_LE(redrawn[0].width(), 24);  // the spinner's area only
  EXPECT_NE(frame_.pixels(), before);
  stepFrames(env_, 1.0);
  EXPECT_EQ(spinner->spinStep(), 1);  // a second on: twelve steps, round again
  spinner->stopAnimating();
  stepFrames(env_, 0.2);
  EXPECT_EQ(RunLoop::main().secondsUntilNextDeadline(), std::numeric_limits<double>::infinity());
}

}  // namespace
}  // namespace qdx::kit
