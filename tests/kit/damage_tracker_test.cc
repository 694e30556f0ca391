// What a surface redraws when a scroll view scrolls: a whole-pixel scroll
// over a plain backdrop moves the drawn content and repaints only the
// uncovered band and what overlaps the clip; anything that stays under or
// around the moving content, a change inside it, or a scroll by part of a
// pixel repaints the scroll view whole. (That the pixels come out right
// is the surface's damage property test.)
#include "kit/damage_tracker.h"

#include <gtest/gtest.h>

#include <functional>

#include "qdx/kit/Kit.h"
#include "support/test_env.h"

namespace qdx::kit {
namespace {

constexpr int kWidth = 400, kHeight = 300;  // a 200 x 150 window at 2x

std::shared_ptr<View> box(Rect frame, Color color) {
  auto view = std::make_shared<View>(frame);
  view->setBackgroundColor(color);
  return view;
}

// Whether the dirty rectangles cover r.
bool covered(const std::vector<PixelRect>& dirty, const PixelRect& r) {
  for (int y = r.y; y < r.y + r.height; ++y) {
    for (int x = r.x; x < r.x + r.width; ++x) {
      bool in = false;
      for (const PixelRect& d : dirty) in = in || (x >= d.x && x < d.x + d.width && y >= d.y && y < d.y + d.height);
      if (!in) return false;
    }
  }
  return true;
}

long long dirtyArea(const std::vector<PixelRect>& dirty) {
  long long sum = 0;
  for (const PixelRect& d : dirty) sum += static_cast<long long>(d.width) * d.height;
  return sum;
}

class ScrollDamage : public ::testing::Test {
 protected:
  void SetUp() override {
    env_.setMainScreen({200, 150, 2});
    window_ = std::make_shared<Window>(Rect(0, 0, 200, 150));
    window_->setBackgroundColor(Color::white());
    // A strip at (20, 30) of 120 x 80 points: pixels (40, 60) to (280, 220).
    strip_ = std::make_shared<ScrollView>(Rect(20, 30, 120, 80));
    strip_->setContentSize({360, 80});
    for (int page = 0; page < 3; ++page) {
      strip_->addSubview(box(Rect(page * 120 + 10, 10, 100, 60), Color::rgba(0.2 * page, 0.5, 0.9, 1)));
    }
    window_->addSubview(strip_);
  }
  Damage collect() { return tracker_.collect(*window_, 2, kWidth, kHeight); }

  TestEnv env_;
  std::shared_ptr<Window> window_;
  std::shared_ptr<ScrollView> strip_;
  DamageTracker tracker_;
};

TEST_F(ScrollDamage, AWholePixelScrollMovesTheContentAndRepaintsTheBandAndWhatOverlapsIt) {
  collect();
  strip_->setContentOffset({3, 0});  // 6 pixels to the left
  Damage damage = collect();
  ASSERT_EQ(damage.shifts.size(), 1u);
  EXPECT_EQ(damage.shifts[0], (PixelShift{{40, 60, 234, 160}, -6, 0}));
  EXPECT_EQ(damage.dirty, (std::vector<PixelRect>{{274, 60, 6, 160}}));

  // Up and to the right at once: the band takes an L.
  strip_->setContentOffset({1, 2});
  damage = collect();
  ASSERT_EQ(damage.shifts.size(), 1u);
  EXPECT_EQ(damage.shifts[0], (PixelShift{{44, 60, 236, 156}, 4, -4}));
  EXPECT_TRUE(covered(damage.dirty, {40, 60, 4, 160}));
  EXPECT_TRUE(covered(damage.dirty, {40, 216, 240, 4}));

  // A badge over the strip is repainted where it is and where the move
  // carried its old pixels; a view under the strip likewise.
  auto badge = box(Rect(100, 50, 10, 10), Color::rgba(1, 0, 0, 1));
  window_->addSubview(badge);
  window_->insertSubview(box(Rect(25, 35, 4, 4), Color::black()), 0);
  collect();
  strip_->setContentOffset({5, 2});  // 8 pixels to the left
  damage = collect();
  ASSERT_EQ(damage.shifts.size(), 1u);
  EXPECT_TRUE(covered(damage.dirty, {200, 100, 20, 20}));
  EXPECT_TRUE(covered(damage.dirty, {192, 100, 20, 20}));
  EXPECT_TRUE(covered(damage.dirty, {50, 70, 8, 8}));
  EXPECT_TRUE(covered(damage.dirty, {42, 70, 8, 8}));
  EXPECT_LT(dirtyArea(damage.dirty), 240 * 160 / 4);

  // An opaque background of the strip's own hides the view under it: only
  // the band and the badge are repainted.
  strip_->setBackgroundColor(Color::white());
  collect();
  strip_->setContentOffset({6, 2});
  damage = collect();
  ASSERT_EQ(damage.shifts.size(), 1u);
  EXPECT_FALSE(covered(damage.dirty, {50, 70, 8, 8}));
  EXPECT_TRUE(covered(damage.dirty, {198, 100, 20, 20}));

  // Half a pixel cannot be moved: the strip is repainted whole.
  strip_->setContentOffset({5.25, 2});
  damage = collect();
  EXPECT_TRUE(damage.shifts.empty());
  EXPECT_TRUE(covered(damage.dirty, {40, 60, 240, 160}));
}

// A clip off the pixel grid has edge pixels that mix the moving content
// with what stays: they are repainted, and only the pixels wholly inside
// are moved.
TEST_F(ScrollDamage, TheEdgePixelsOfAClipOffThePixelGridAreRepainted) {
  strip_->setFrame(Rect(20.3, 30.2, 120, 80));  // pixels 40.6 to 280.6, 60.4 to 220.4
  collect();
  strip_->setContentOffset({3, 0});
  Damage damage = collect();
  ASSERT_EQ(damage.shifts.size(), 1u);
  EXPECT_EQ(damage.shifts[0], (PixelShift{{41, 61, 233, 159}, -6, 0}));
  EXPECT_TRUE(covered(damage.dirty, {40, 60, 1, 161}));
  EXPECT_TRUE(covered(damage.dirty, {280, 60, 1, 161}));
  EXPECT_TRUE(covered(damage.dirty, {40, 60, 241, 1}));
  EXPECT_TRUE(covered(damage.dirty, {40, 220, 241, 1}));
  EXPECT_TRUE(covered(damage.dirty, {274, 61, 6, 159}));  // the uncovered band
}

TEST_F(ScrollDamage, WhatStaysUnderOrAroundTheContentOrAChangeInsideItRepaintsTheStripWhole) {
  const std::vector<std::pair<const char*, std::function<void()>>> cases = {
      {"rounded corners", [&] { strip_->layer().cornerRadius = 8; }},
      {"a border", [&] { strip_->layer().borderWidth = 1; }},
      {"a shadow on the parent",
       [&] {
         auto card = box(Rect(10, 20, 150, 100), Color::white());
         card->layer().shadowOpacity = 0.5;
         window_->addSubview(card);
         card->addSubview(strip_);
         strip_->setFrame(Rect(10, 10, 120, 80));
       }},
      {"a parent's background edge inside the clip",
       [&] {
         auto half = box(Rect(0, 0, 80, 150), Color::rgba(0.5, 0.5, 0.5, 1));
         window_->addSubview(half);
         half->addSubview(strip_);
       }},
      {"text the parent draws under the content",
       [&] {
         auto label = std::make_shared<Label>(Rect(0, 0, 200, 150));
         label->setText("Powered by QDX");
         window_->addSubview(label);
         label->addSubview(strip_);
       }},
  };
  for (const auto& [name, make] : cases) {
    SCOPED_TRACE(name);
    SetUp();
    tracker_.forget();
    make();
    collect();
    strip_->setContentOffset({3, 0});
    Damage damage = collect();
    EXPECT_TRUE(damage.shifts.empty());
    EXPECT_TRUE(covered(damage.dirty, {40, 60, 240, 160}));  // each case keeps the strip there
  }

  // A card inside that changes colour in the same frame as the scroll.
  SetUp();
  tracker_.forget();
  collect();
  strip_->setContentOffset({3, 0});
  strip_->subviews()[1]->setBackgroundColor(Color::black());
  Damage damage = collect();
  EXPECT_TRUE(damage.shifts.empty());
  EXPECT_TRUE(covered(damage.dirty, {40, 60, 240, 160}));
  // A plain background of the strip's own moves with it.
  strip_->setBackgroundColor(Color::rgba(0.9, 0.9, 0.9, 1));
  collect();
  strip_->setContentOffset({6, 0});
  EXPECT_EQ(collect().shifts.size(), 1u);
}

}  // namespace
}  // namespace qdx::kit
