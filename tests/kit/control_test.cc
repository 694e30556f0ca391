// Target-actions of controls and tap recognisers.
#include <gtest/gtest.h>

#include "qdx/kit/Button.h"
#include "qdx/kit/TapGestureRecognizer.h"

namespace qdx::kit {
namespace {

TEST(ControlActions, OnlyActionsForTheSentEventsRunWithTheControlAsSender) {
  auto button = Button::buttonWithType(ButtonTypeCustom);
  button->setTag(4);
  auto target = std::make_shared<int>(0);
  long seenTag = -1;
  int touchDown = 0;
  button->addTarget(target, [&](const std::shared_ptr<Control>& sender) { seenTag = sender->tag(); },
                    ControlEventTouchUpInside);
  button->addAction([&](const std::shared_ptr<Control>&) { ++touchDown; }, ControlEventTouchDown);
  EXPECT_EQ(ControlEventTouchUpInside, 64u);

  button->sendActionsForControlEvents(ControlEventTouchUpInside);
  EXPECT_EQ(seenTag, 4);
  EXPECT_EQ(touchDown, 0);
}

TEST(ControlActions, ActionsOfAGoneTargetAreSkipped) {
  auto button = Button::buttonWithType(ButtonTypeCustom);
  int calls = 0;
  {
    auto target = std::make_shared<int>(0);
    button->addTarget(target, [&](const std::shared_ptr<Control>&) { ++calls; },
                      ControlEventTouchUpInside);
    EXPECT_EQ(button->actionCount(ControlEventTouchUpInside), 1u);
  }
  button->sendActionsForControlEvents(ControlEventTouchUpInside);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(button->actionCount(ControlEventTouchUpInside), 0u);
}

TEST(ControlActions, AnActionMayDetachItsOwnControl) {
  auto parent = std::make_shared<View>();
  auto button = Button::buttonWithType(ButtonTypeCustom);
  parent->addSubview(button);
  std::weak_ptr<Button> weak = button;
  button->addAction([](const std::shared_ptr<Control>& sender) { sender->removeFromSuperview(); },
                    ControlEventTouchUpInside);
  button.reset();
  weak.lock()->sendActionsForControlEvents(ControlEventTouchUpInside);
  EXPECT_TRUE(parent->subviews().empty());
}

TEST(ButtonStates, OtherStatesFallBackToNormal) {
  auto button = Button::buttonWithType(ButtonTypeCustom);
  auto image = Image::imageWithPixels(1, 1, {0xFF000000u});
  button->setImage(image, ControlStateNormal);
  button->setTitle("   下 载  A P P", ControlStateNormal);
  button->setHighlighted(true);
  EXPECT_EQ(button->currentImage(), image);
  EXPECT_EQ(button->currentTitle(), "   下 载  A P P");
  button->setImage(nullptr, ControlStateNormal);
  EXPECT_EQ(button->currentImage(), nullptr);
}

TEST(TapRecognizer, AttachingToAnotherViewDetachesIt) {
  auto first = std::make_shared<View>();
  auto second = std::make_shared<View>();
  auto tap = std::make_shared<TapGestureRecognizer>();
  first->addGestureRecognizer(tap);
  second->addGestureRecognizer(tap);
  EXPECT_TRUE(first->gestureRecognizers().empty());
  EXPECT_EQ(tap->view(), second);
}

}  // namespace
}  // namespace qdx::kit
