// The view tree: child order, moving and removing children, the superview
// link, and target-actions of the controls in it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qdx/kit/Button.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/View.h"

namespace qdx::kit {
namespace {

using Views = std::vector<std::shared_ptr<View>>;

TEST(ViewTree, AddingMovesAChildToTheFrontOfItsNewParentAndRefusesCycles) {
  auto parent = std::make_shared<View>();
  auto other = std::make_shared<View>();
  auto a = std::make_shared<View>();
  auto b = std::make_shared<View>();
  other->addSubview(a);
  parent->addSubview(a);
  parent->addSubview(b);
  parent->addSubview(a);  // again: to the front
  EXPECT_EQ(parent->subviews(), (Views{b, a}));
  EXPECT_TRUE(other->subviews().empty());
  EXPECT_EQ(a->superview(), parent);

  a->addSubview(parent);
  a->addSubview(a);
  parent->addSubview(nullptr);
  EXPECT_TRUE(a->subviews().empty());
  EXPECT_EQ(parent->subviews().size(), 2u);
  EXPECT_EQ(parent->superview(), nullptr);
  std::make_shared<View>()->addSubview(b);  // a parent dropped at once
  EXPECT_EQ(b->superview(), nullptr);  // is not kept alive by its child
}

// A banner's children are its image and then its close button. The close
// action removes "the last subview" twice, taking the button (itself) first,
// then the image, and then the banner.
TEST(ViewTree, TheCloseActionRemovesButtonThenImageThenTheBanner) {
  auto container = std::make_shared<View>(Rect(0, 0, 320, 568));
  auto banner = std::make_shared<View>(Rect(0, 0, 320, 50));
  auto image = std::make_shared<ImageView>(Rect(0, 0, 320, 50));
  auto button = Button::buttonWithType(ButtonTypeCustom);
  banner->addSubview(image);
  banner->addSubview(button);
  container->addSubview(banner);
  std::vector<const View*> removed;
  button->addAction([&](const std::shared_ptr<Control>& sender) {
    auto owner = sender->superview();
    for (int i = 0; i < 2; ++i) {
      removed.push_back(owner->subviews().back().get());
      owner->subviews().back()->removeFromSuperview();
    }
    owner->removeFromSuperview();
  }, ControlEventTouchUpInside);
  Button* raw = button.get();
  button.reset();  // the banner holds the button's last reference
  raw->sendActionsForControlEvents(ControlEventTouchUpInside);
  EXPECT_EQ(removed, (std::vector<const View*>{raw, image.get()}));
  EXPECT_TRUE(banner->subviews().empty());
  EXPECT_TRUE(container->subviews().empty());
  banner->removeFromSuperview();  // again: harmless
}

TEST(ControlActions, OnlyLiveActionsForTheSentEventsRunWithTheControlAsSender) {
  auto button = Button::buttonWithType(ButtonTypeCustom);
  button->setTag(4);
  auto target = std::make_shared<int>(0);
  auto gone = std::make_shared<int>(0);
  std::vector<std::string> calls;
  button->addTarget(target, [&](const std::shared_ptr<Control>& sender) {
    calls.push_back("up:" + std::to_string(sender->tag()));
  }, 64);  // touch-up-inside
  button->addTarget(gone, [&](const std::shared_ptr<Control>&) { calls.push_back("gone"); },
                    ControlEventTouchUpInside);
  button->addAction([&](const std::shared_ptr<Control>&) { calls.push_back("down"); },
                    ControlEventTouchDown);
  gone.reset();
  EXPECT_EQ(button->actionCount(ControlEventTouchUpInside), 1u);
  button->sendActionsForControlEvents(ControlEventTouchUpInside);
  EXPECT_EQ(calls, (std::vector<std::string>{"up:4"}));
}

}  // namespace
}  // namespace qdx::kit
