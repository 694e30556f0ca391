// The surface as a host's frame sees it: its pixels match the renderer's
// in both formats and any stride, it redraws only what changed (and an
// incremental draw always equals a full one), it leaves uncovered pixels
// transparent, and bad arguments draw nothing.
#include "qdx/kit/Surface.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "kit/damage_tracker.h"
#include "kit/surface_support.h"
#include "qdx/kit/Kit.h"
#include "platform/log_gate.h"

namespace qdx::kit {
namespace {

const Color kRed = Color::rgba(1, 0, 0, 1);
const Color kBlue = Color::rgba(0, 0, 1, 1);

std::shared_ptr<View> box(Rect frame, std::optional<Color> color) {
  auto view = std::make_shared<View>(frame);
  view->setBackgroundColor(color);
  return view;
}

class SurfaceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    env_.setMainScreen({200, 150, 2});
    env_.setMonotonicNow(1000);
    mydebug.store(true);
    window_ = std::make_shared<Window>(Rect(0, 0, 200, 150));
  }
  // A fresh surface's full draw of the window.
  std::vector<std::uint8_t> fullDraw(PixelFormat format = PixelFormat::BGRA8Premultiplied) {
    Surface fresh(window_, 2);
    FrameBuffer frame(fresh.pixelWidth(), fresh.pixelHeight(), fresh.pixelWidth() * 4);
    fresh.draw(frame.data(), frame.stride, format);
    return frame.pixels();
  }
  TestEnv env_;
  std::shared_ptr<Window> window_;
};

// --- Pixels -------------------------------------------------------------------

TEST_F(SurfaceTest, PixelsMatchTheRendererInBothFormatsAndAWideStrideKeepsItsPadding) {
  window_->addSubview(box(Rect(10, 10, 50, 40), kRed));
  auto half = box(Rect(100, 20, 60, 60), kBlue);
  half->setAlpha(0.5);
  window_->addSubview(half);
  auto label = std::make_shared<Label>(Rect(10, 100, 180, 30));
  label->setText("Ads on a real screen");
  window_->addSubview(label);

  Surface surface(window_, 2);
  ASSERT_EQ(surface.pixelWidth(), 400);
  ASSERT_EQ(surface.pixelHeight(), 300);
  auto snapshot = renderImage(window_, 2);
  ASSERT_TRUE(snapshot);

  FrameBuffer bgra(400, 300, 400 * 4 + 36);  // a stride wider than a row
  auto redrawn = surface.draw(bgra.data(), bgra.stride, PixelFormat::BGRA8Premultiplied);
  ASSERT_EQ(redrawn.size(), 1u);
  EXPECT_EQ(redrawn[0], Rect(0, 0, 400, 300));
  EXPECT_TRUE(bgra.paddingIntact());
  FrameBuffer rgba(400, 300, 400 * 4 + 2);  // not even a whole pixel of padding
  surface.draw(rgba.data(), rgba.stride, PixelFormat::RGBA8Premultiplied);
  EXPECT_TRUE(rgba.paddingIntact());

  // Byte for byte what the renderer draws, in each format's order.
  int mismatches = 0;
  for (int y = 0; y < 300; ++y) {
    for (int x = 0; x < 400; ++x) {
      std::uint32_t p = snapshot->pixels()[static_cast<std::size_t>(y) * 400 + x];
      std::uint8_t a = p >> 24, r = (p >> 16) & 0xFF, g = (p >> 8) & 0xFF, b = p & 0xFF;
      const std::uint8_t* q = bgra.pixel(x, y);
      const std::uint8_t* s = rgba.pixel(x, y);
      if (q[0] != b || q[1] != g || q[2] != r || q[3] != a) ++mismatches;
      if (s[0] != r || s[1] != g || s[2] != b || s[3] != a) ++mismatches;
    }
  }
  EXPECT_EQ(mismatches, 0);
  // The golden values: opaque red, half blue premultiplied, clear elsewhere.
  const std::uint8_t* red = bgra.pixel(40, 40);
  EXPECT_EQ((std::vector<int>{red[0], red[1], red[2], red[3]}), (std::vector<int>{0, 0, 255, 255}));
  const std::uint8_t* blue = rgba.pixel(260, 100);
  EXPECT_EQ(blue[0], 0);
  EXPECT_EQ(blue[1], 0);
  EXPECT_NEAR(blue[2], 128, 1);
  EXPECT_NEAR(blue[3], 128, 1);
}

// --- Damage -------------------------------------------------------------------

TEST_F(SurfaceTest, OnlyWhatChangedIsRedrawnAndNothingChangedDrawsNothing) {
  auto a = box(Rect(10, 10, 20, 20), kRed);
  auto b = box(Rect(150, 100, 20, 20), kBlue);
  window_->addSubview(a);
  window_->addSubview(b);
  Surface surface(window_, 2);
  FrameBuffer frame(400, 300, 1600);
  EXPECT_TRUE(surface.needsDisplay());
  surface.draw(frame.data(), frame.stride);
  EXPECT_FALSE(surface.needsDisplay());
  EXPECT_TRUE(surface.draw(frame.data(), frame.stride).empty());

  b->setBackgroundColor(kRed);
  EXPECT_TRUE(surface.needsDisplay());
  auto redrawn = surface.draw(frame.data(), frame.stride);
  ASSERT_EQ(redrawn.size(), 1u);
  // b's area in pixels, with a pixel of margin; a's stays as it was.
  EXPECT_EQ(redrawn[0], Rect(299, 199, 42, 42));

  // A move redraws where it was and where it is.
  a->setFrame(Rect(60, 10, 20, 20));
  redrawn = surface.draw(frame.data(), frame.stride);
  double area = 0;
  for (const Rect& r : redrawn) area += r.width() * r.height();
  EXPECT_LE(area, 2 * 42 * 42 + 0.0);
  EXPECT_EQ(frame.pixels(), fullDraw());

  // Another buffer is drawn whole.
  FrameBuffer other(400, 300, 1600);
  redrawn = surface.draw(other.data(), other.stride);
  ASSERT_EQ(redrawn.size(), 1u);
  EXPECT_EQ(redrawn[0], Rect(0, 0, 400, 300));
}

// Random trees changed at random: after every change the incremental draw
// equals a full draw of the same tree. The scroll view scrolls often, by
// whole pixels (its drawn content is moved, not drawn again) and by parts
// of a pixel, under and over siblings that overlap it, so the moved
// pixels are proven against full draws too.
TEST_F(SurfaceTest, IncrementalDrawsEqualFullDrawsThroughRandomChanges) {
  int shiftedSteps = 0;
  for (unsigned seed : {1u, 2u, 3u, 4u, 5u, 6u}) {
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    auto uniform = [&](double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); };
    auto pick = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(rng); };
    auto pixels = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng) / 2.0; };
    // Opaque half the time: an opaque background hides what lies under it.
    auto color = [&] {
      double alpha = uniform(0, 1) < 0.5 ? 1 : uniform(0.3, 1);
      return Color::rgba(uniform(0, 1), uniform(0, 1), uniform(0, 1), alpha);
    };
    auto frameIn = [&] { return Rect(uniform(-20, 180), uniform(-20, 130), uniform(2, 90), uniform(2, 70)); };

    window_ = std::make_shared<Window>(Rect(0, 0, 200, 150));
    auto scroll = std::make_shared<ScrollView>(Rect(20, 30, 120, 80));
    scroll->setContentSize({480, 80});
    scroll->setPagingEnabled(true);
    window_->addSubview(scroll);
    std::vector<std::shared_ptr<View>> views{window_, scroll};
    for (int i = 0; i < 8; ++i) {
      auto v = box(frameIn(), color());
      views[pick(views.size())]->addSubview(v);
      views.push_back(v);
    }
    auto label = std::make_shared<Label>(Rect(30, 40, 100, 20));
    label->setText("猜你喜欢");
    views[pick(views.size())]->addSubview(label);
    views.push_back(label);

    // Half the seeds draw through the surface's own bitmap.
    const PixelFormat format = seed % 2 ? PixelFormat::BGRA8Premultiplied : PixelFormat::RGBA8Premultiplied;
    Surface surface(window_, 2);
    FrameBuffer frame(400, 300, 1600);
    surface.draw(frame.data(), frame.stride, format);
    // Sees the same frames as the surface's own tracker: counts the moves.
    DamageTracker mirror;
    mirror.collect(*window_, 2, 400, 300);
    int step = 0;
    auto change = [&](std::size_t kind, std::shared_ptr<View> v) {
      const Point at = scroll->contentOffset();
      switch (kind) {
        case 0: v->setFrame(frameIn()); break;
        case 1: v->setAlpha(uniform(0, 1)); break;
        case 2: v->setHidden(!v->isHidden()); break;
        case 3: v->setBackgroundColor(color()); break;
        case 4: {
          auto child = box(frameIn(), color());
          v->addSubview(child);
          views.push_back(child);
          break;
        }
        case 5: v->removeFromSuperview(); break;
        case 6: views[pick(views.size())]->addSubview(v); break;  // moves it, maybe on top
        case 7: scroll->setContentOffset({uniform(-40, 400), 0}); break;
        case 8: label->setText(step % 2 ? "下 载  A P P" : "Powered by QDX"); break;
        case 9:
          v->layer().shadowOpacity = 0.5;
          v->layer().shadowOffset = {3, 6};
          v->layer().cornerRadius = uniform(0, 10);
          break;
        case 10: v->setClipsToBounds(!v->clipsToBounds()); break;
        case 11:
        case 12:
        case 13: scroll->setContentOffset({at.x + pixels(-30, 30), at.y + (step % 3 ? 0 : pixels(-8, 8))}); break;
        case 14: scroll->setContentOffset({at.x + pixels(-30, 30) + 0.25, at.y}); break;  // half a pixel off
        case 15: window_->insertSubview(v, pick(3)); break;  // under or over the scroll view
        case 16: scroll->setBackgroundColor(step % 2 ? std::optional<Color>(color()) : std::nullopt); break;
        case 17:  // what stays while the content moves: rounded corners, a border
          scroll->layer().cornerRadius = step % 2 ? uniform(2, 12) : 0;
          scroll->layer().borderWidth = step % 3 ? 0 : 2;
          break;
        case 18: v->addSubview(scroll); break;  // a new ancestor (refused inside its own content)
        case 19: scroll->setAlpha(step % 2 ? uniform(0.4, 0.9) : 1); break;  // blends with what lies under it
      }
    };
    for (; step < 40; ++step) {
      auto any = views[2 + pick(views.size() - 2)];
      if (step % 3 == 0) {
        // Two changes in one frame: a scroll, and one to the tree, inside
        // the scroll view when it holds anything.
        std::vector<std::shared_ptr<View>> inside;
        for (std::size_t i = 2; i < views.size(); ++i) {
          if (views[i]->isDescendantOfView(scroll.get())) inside.push_back(views[i]);
        }
        change(11, any);
        change(pick(11), inside.empty() ? any : inside[pick(inside.size())]);
      } else {
        change(pick(20), any);
      }
      auto damage = mirror.collect(*window_, 2, 400, 300);
      if (!damage.shifts.empty()) ++shiftedSteps;
      surface.draw(frame.data(), frame.stride, format);
      ASSERT_TRUE(frame.pixels() == fullDraw(format)) << "after step " << step;
    }
  }
  // The moves were made, not all refused.
  EXPECT_GE(shiftedSteps, 20);
}

// A repaint of a small area blurs only the part of a shadow it shows: the
// pixels must still be those of a blur of the whole.
TEST_F(SurfaceTest, RepaintsThatCutThroughAShadowMatchAFullDraw) {
  auto card = box(Rect(40, 30, 80, 60), Color::white());
  card->layer().shadowOpacity = 0.8;
  card->layer().shadowRadius = 10;
  card->layer().shadowOffset = {4, 6};
  window_->addSubview(card);
  auto spot = box(Rect(0, 0, 6, 6), kRed);
  window_->addSubview(spot);
  Surface surface(window_, 2);
  FrameBuffer frame(400, 300, 1600);
  surface.draw(frame.data(), frame.stride);
  // Across the card's edges and corners, and out in the shadow's fringe.
  for (Rect at : {Rect(116, 86, 8, 8), Rect(36.5, 50, 6, 6), Rect(70, 93, 5, 3), Rect(125, 40, 4, 30),
                  Rect(38, 27, 4, 4)}) {
    SCOPED_TRACE(at.x());
    spot->setFrame(at);
    surface.draw(frame.data(), frame.stride);
    EXPECT_TRUE(frame.pixels() == fullDraw());
  }
}

// --- Overlay ------------------------------------------------------------------

TEST_F(SurfaceTest, ABannerOverATransparentRootLeavesEveryOtherPixelClear) {
  auto root = std::make_shared<ViewController>();
  root->view()->setBackgroundColor(std::nullopt);
  window_->setRootViewController(root);
  auto banner = std::make_shared<ImageView>(Rect(0, 150 - 30, 200, 30));
  banner->setImage(Image::imageWithPixels(4, 2, std::vector<std::uint32_t>(8, 0xFF1496D5u)));
  root->view()->addSubview(banner);

  Surface surface(window_, 2);
  FrameBuffer frame(400, 300, 1600);
  surface.draw(frame.data(), frame.stride);
  int clear = 0, opaque = 0, other = 0;
  for (int y = 0; y < 300; ++y) {
    for (int x = 0; x < 400; ++x) {
      const std::uint8_t* p = frame.pixel(x, y);
      bool inBanner = y >= 240;
      if (!inBanner && p[0] == 0 && p[1] == 0 && p[2] == 0 && p[3] == 0) ++clear;
      else if (inBanner && p[3] == 255) ++opaque;
      else ++other;
    }
  }
  EXPECT_EQ(clear, 400 * 240);
  EXPECT_EQ(opaque, 400 * 60);
  EXPECT_EQ(other, 0);
}

// --- Bad input ----------------------------------------------------------------

TEST_F(SurfaceTest, BadBuffersAndSizesDrawNothingAndSayWhy) {
  window_->addSubview(box(Rect(0, 0, 200, 150), kRed));
  Surface surface(window_, 2);
  FrameBuffer frame(400, 300, 1600);
  EXPECT_TRUE(surface.draw(nullptr, 1600).empty());
  EXPECT_TRUE(env_.logContains("draw into no buffer"));
  EXPECT_TRUE(surface.draw(frame.data(), 1599).empty());
  EXPECT_TRUE(surface.draw(frame.data(), -4).empty());
  EXPECT_TRUE(env_.logContains("into a stride of 1599"));
  EXPECT_EQ(frame.pixels(), FrameBuffer(400, 300, 1600).pixels());

  auto empty = std::make_shared<Window>(Rect(0, 0, 0, 0));
  Surface zero(empty, 2);
  EXPECT_EQ(zero.pixelWidth(), 0);
  EXPECT_TRUE(zero.draw(frame.data(), 1600).empty());
  EXPECT_TRUE(env_.logContains("zero size"));
  Surface none(nullptr, 2);
  EXPECT_TRUE(none.draw(frame.data(), 1600).empty());
  EXPECT_FALSE(none.pointerDown({1, 1}, 1));
  Surface nan(window_, std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(nan.pixelHeight(), 0);
  auto huge = std::make_shared<Window>(Rect(0, 0, 1e9, 10));
  EXPECT_EQ(Surface(huge, 1).pixelWidth(), 0);
  EXPECT_TRUE(frame.paddingIntact());
}

TEST_F(SurfaceTest, PointsOffAnyScreenAndTimeGoingBackAreRefused) {
  auto button = Button::buttonWithType(ButtonTypeCustom);
  button->setFrame(Rect(0, 0, 200, 150));
  int taps = 0;
  button->addAction([&](const std::shared_ptr<Control>&) { ++taps; }, ControlEventTouchUpInside);
  window_->addSubview(button);
  Surface surface(window_, 2);
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(surface.pointerDown({std::nan(""), 10}, 5));
  EXPECT_FALSE(surface.pointerDown({inf, 10}, 5));
  EXPECT_FALSE(surface.pointerDown({10, 2e6}, 5));
  EXPECT_FALSE(surface.pointerDown({10, 10}, inf));
  EXPECT_TRUE(env_.logContains("off any screen"));
  EXPECT_TRUE(surface.pointerDown({10, 10}, 5));
  EXPECT_FALSE(surface.pointerUp({10, 10}, 4));  // before the down
  EXPECT_TRUE(env_.logContains("earlier than the last event"));
  EXPECT_TRUE(surface.pointerUp({10, 10}, 5.1));
  EXPECT_EQ(taps, 1);
  EXPECT_FALSE(surface.pointerMove({10, 10}, 6));  // no finger down: a hover
}

}  // namespace
}  // namespace qdx::kit
