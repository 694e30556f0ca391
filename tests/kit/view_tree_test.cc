// The view tree: child order, moving and removing children, and the
// superview link.
#include <gtest/gtest.h>

#include "qdx/kit/Button.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/View.h"

namespace qdx::kit {
namespace {

TEST(ViewTree, AddingAChildAgainMovesItToTheFront) {
  auto parent = std::make_shared<View>();
  auto a = std::make_shared<View>();
  auto b = std::make_shared<View>();
  parent->addSubview(a);
  parent->addSubview(b);
  parent->addSubview(a);
  ASSERT_EQ(parent->subviews().size(), 2u);
  EXPECT_EQ(parent->subviews()[0], b);
  EXPECT_EQ(parent->subviews()[1], a);
}

TEST(ViewTree, AddingMovesAChildOutOfItsOldParent) {
  auto first = std::make_shared<View>();
  auto second = std::make_shared<View>();
  auto child = std::make_shared<View>();
  first->addSubview(child);
  second->addSubview(child);
  EXPECT_TRUE(first->subviews().empty());
  EXPECT_EQ(child->superview(), second);
}

TEST(ViewTree, CyclesAndNullAreRefused) {
  auto parent = std::make_shared<View>();
  auto child = std::make_shared<View>();
  parent->addSubview(child);
  child->addSubview(parent);
  child->addSubview(child);
  parent->addSubview(nullptr);
  EXPECT_TRUE(child->subviews().empty());
  EXPECT_EQ(parent->subviews().size(), 1u);
  EXPECT_EQ(parent->superview(), nullptr);
}

// A banner's children are its image and then its close button; removing
// "the last subview" twice must take the button first, then the image.
TEST(ViewTree, RemovingTheLastSubviewTwiceTakesButtonThenImage) {
  auto container = std::make_shared<View>(Rect(0, 0, 320, 568));
  auto banner = std::make_shared<View>(Rect(0, 0, 320, 50));
  auto image = std::make_shared<ImageView>(Rect(0, 0, 320, 50));
  auto button = Button::buttonWithType(ButtonTypeCustom);
  banner->addSubview(image);
  banner->addSubview(button);
  container->addSubview(banner);

  banner->subviews().back()->removeFromSuperview();
  ASSERT_EQ(banner->subviews().size(), 1u);
  EXPECT_EQ(banner->subviews()[0], image);
  EXPECT_EQ(button->superview(), nullptr);

  banner->subviews().back()->removeFromSuperview();
  EXPECT_TRUE(banner->subviews().empty());
  banner->removeFromSuperview();
  EXPECT_TRUE(container->subviews().empty());
  // Removing again is harmless.
  banner->removeFromSuperview();
  EXPECT_EQ(banner->superview(), nullptr);
}

TEST(ViewTree, SuperviewIsNotKeptAliveByItsChildren) {
  auto child = std::make_shared<View>();
  {
    auto parent = std::make_shared<View>();
    parent->addSubview(child);
    EXPECT_NE(child->superview(), nullptr);
  }
  EXPECT_EQ(child->superview(), nullptr);
}

TEST(ViewTree, ViewWithTagSearchesDepthFirstAndConvertsPoints) {
  auto root = std::make_shared<View>(Rect(0, 0, 100, 100));
  auto mid = std::make_shared<View>(Rect(10, 20, 50, 50));
  auto leaf = std::make_shared<View>(Rect(5, 5, 10, 10));
  leaf->setTag(4);
  root->addSubview(mid);
  mid->addSubview(leaf);
  EXPECT_EQ(root->viewWithTag(4), leaf);
  EXPECT_EQ(root->viewWithTag(9), nullptr);
  Point p = leaf->convertPointToRoot({1, 1});
  EXPECT_DOUBLE_EQ(p.x, 16);
  EXPECT_DOUBLE_EQ(p.y, 26);
}

}  // namespace
}  // namespace qdx::kit
