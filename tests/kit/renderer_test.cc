// Rendering view trees: size at the screen scale, colours where they must
// be, clipping, alpha, text ink; and the attributed text labels draw.
#include "qdx/kit/Renderer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "kit/painter.h"
#include "qdx/kit/Kit.h"
#include "sdk/QDXLog.h"
#include "support/test_env.h"

namespace qdx::kit {
namespace {

const Color kRed = Color::rgba(1, 0, 0, 1);
const Color kBlue = Color::rgba(0, 0, 1, 1);

void expectColor(const Image& image, int x, int y, Color want, double tolerance = 0.02) {
  Color got = image.colorAt(x, y);
  double off = std::max({std::fabs(got.red - want.red), std::fabs(got.green - want.green),
                         std::fabs(got.blue - want.blue), std::fabs(got.alpha - want.alpha)});
  EXPECT_LE(off, tolerance) << "at " << x << "," << y << ": " << got.red << " " << got.green
                            << " " << got.blue << " " << got.alpha;
}

// Pixels of columns [x0, x1) and rows [y0, y1) that are far from white.
int inkIn(const Image& image, int x0, int y0, int x1, int y1) {
  int ink = 0;
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      Color c = image.colorAt(x, y);
      if (3 - c.red - c.green - c.blue > 0.3) ++ink;
    }
  }
  return ink;
}

std::shared_ptr<View> box(Rect frame, std::optional<Color> color) {
  auto view = std::make_shared<View>(frame);
  view->setBackgroundColor(color);
  return view;
}

class Rendering : public ::testing::Test {
 protected:
  void SetUp() override { env_.setMainScreen({320, 568, 2}); }
  TestEnv env_;
};

TEST_F(Rendering, ASceneDecodesAtTheScaledSizeWithFramesClippingAlphaAndScrolling) {
  auto root = box(Rect(0, 0, 100, 100), Color::white());
  root->addSubview(box(Rect(10, 70, 30, 20), kRed));
  // A 4 x 2 green image stretched over a 40 x 20 point image view.
  auto image = std::make_shared<ImageView>(Rect(50, 70, 40, 20));
  image->setImage(Image::imageWithPixels(4, 2, std::vector<std::uint32_t>(8, 0xFF00FF00u)));
  root->addSubview(image);
  auto clip = box(Rect(0, 0, 20, 20), std::nullopt);
  clip->setClipsToBounds(true);
  clip->addSubview(box(Rect(0, 0, 50, 50), Color::black()));
  auto faded = box(Rect(50, 0, 20, 20), Color::black());
  faded->setAlpha(0.5);
  auto scroll = std::make_shared<ScrollView>(Rect(50, 40, 20, 20));
  scroll->setContentSize({40, 20});
  scroll->addSubview(box(Rect(0, 0, 20, 20), kRed));
  scroll->addSubview(box(Rect(20, 0, 20, 20), kBlue));
  scroll->setContentOffset({20, 0});
  scroll->setClipsToBounds(true);
  for (auto& v : {clip, faded, std::shared_ptr<View>(scroll)}) root->addSubview(v);

  auto decoded = Image::imageWithData(renderPng(root));  // at the screen's scale, 2
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->size(), (Size{200, 200}));
  const struct {
    int x, y;  // points
    Color color;
  } pixels[] = {
      {20, 75, kRed},
      {89, 89, Color::rgba(0, 1, 0, 1)},  // the image reaches its corner
      {95, 75, Color::white()},
      {10, 10, Color::black()},
      {30, 30, Color::white()},  // clipped away
      {60, 10, Color::rgba(0.5, 0.5, 0.5, 1)},
      {60, 50, kBlue},           // the second page shows
      {45, 50, Color::white()},  // the first is scrolled out and clipped
  };
  for (const auto& p : pixels) expectColor(*decoded, p.x * 2, p.y * 2, p.color);

  EXPECT_EQ(renderImage(nullptr), nullptr);
  EXPECT_TRUE(renderPng(std::make_shared<View>()).empty());
  EXPECT_FALSE(writePng(root, env_.tempRoot() + "/no/such/dir/x.png"));
}

TEST_F(Rendering, KernedChineseTitleInksAndWidens) {
  // The rightmost inked column of "猜你喜欢" with kern points after all but
  // the last character.
  auto rightmost = [](double kern) {
    auto label = std::make_shared<Label>(Rect(0, 0, 200, 30));
    label->setBackgroundColor(Color::white());
    AttributedString text("猜你喜欢");
    text.addKern(kern, 0, text.length() - 1);
    label->setAttributedText(text);
    label->setFont(Font::fontWithName("Thonburi", 17));
    auto image = renderImage(label, 1);
    EXPECT_GT(inkIn(*image, 0, 0, 200, 30), 50);  // no missing glyphs
    for (int x = 199; x > 0; --x) {
      if (inkIn(*image, x, 0, x + 1, 30) > 0) return x;
    }
    return 0;
  };
  EXPECT_GE(rightmost(8) - rightmost(0), 20);  // three gaps of 8 points
}

// The gaps, in pixels at scale 2, between the glyphs of "HHHH" at 20
// points, with kern points after its first `kerned` characters.
std::vector<int> glyphGaps(double kern, std::size_t kerned) {
  auto label = std::make_shared<Label>(Rect(0, 0, 200, 40));
  label->setBackgroundColor(Color::white());
  AttributedString text("HHHH");
  text.addKern(kern, 0, kerned);
  label->setAttributedText(text);
  label->setFont(Font::systemFontOfSize(20));
  auto image = renderImage(label, 2);
  std::vector<int> gaps;
  if (!image) return gaps;
  int runEnd = -1;
  bool inked = false;
  for (int x = 0; x < image->pixelWidth(); ++x) {
    const bool ink = inkIn(*image, x, 0, x + 1, image->pixelHeight()) > 0;
    if (ink && !inked && runEnd >= 0) gaps.push_back(x - runEnd);
    if (!ink && inked) runEnd = x;
    inked = ink;
  }
  return gaps;
}

TEST_F(Rendering, KernWidensEveryGapAfterAKernedCharacterByTheSameAmount) {
  const std::vector<int> plain = glyphGaps(0, 0);
  ASSERT_EQ(plain.size(), 3u);
  // All but the last character kerned, as the wall's title is: three
  // gaps each 16 pixels (8 points) wider.
  const std::vector<int> title = glyphGaps(8, 3);
  ASSERT_EQ(title.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(title[i] - plain[i], 16, 1) << "gap " << i;
  // Only the first character: only the gap after it.
  const std::vector<int> first = glyphGaps(8, 1);
  ASSERT_EQ(first.size(), 3u);
  EXPECT_NEAR(first[0] - plain[0], 16, 1);
  EXPECT_NEAR(first[1] - plain[1], 0, 1);
  EXPECT_NEAR(first[2] - plain[2], 0, 1);
}

// A shadow drawn hard (no blur) 50 points below its view.
template <typename V>
std::shared_ptr<V> withHardShadow(std::shared_ptr<V> view) {
  view->layer().shadowColor = Color::black();
  view->layer().shadowOpacity = 1;
  view->layer().shadowRadius = 0;
  view->layer().shadowOffset = Size{0, 50};
  return view;
}

// A 40 x 40 image of a red disc on transparency, as a rounded app icon is.
std::shared_ptr<Image> disc() {
  auto round = box(Rect(0, 0, 40, 40), kRed);
  round->layer().cornerRadius = 20;
  return renderImage(round, 1);
}

TEST_F(Rendering, AShadowTakesTheShapeOfWhatTheViewShows) {
  auto root = box(Rect(0, 0, 160, 100), Color::white());
  // A round image with no background, a rounded background, and an image
  // view whose image has not come yet.
  auto icon = withHardShadow(std::make_shared<ImageView>(Rect(0, 0, 40, 40)));
  icon->setImage(disc());
  auto card = withHardShadow(box(Rect(60, 0, 40, 40), kRed));
  card->layer().cornerRadius = 20;
  auto waiting = withHardShadow(std::make_shared<ImageView>(Rect(120, 0, 40, 40)));
  for (const std::shared_ptr<View>& v : {std::shared_ptr<View>(icon), card, std::shared_ptr<View>(waiting)})
    root->addSubview(v);
  auto image = renderImage(root, 1);
  ASSERT_NE(image, nullptr);
  // Round shadows: black in the middle, white in the offset square's corners.
  for (int left : {0, 60}) {
    expectColor(*image, left + 20, 70, Color::black());
    for (auto [x, y] : {std::pair{2, 52}, {37, 52}, {2, 87}, {37, 87}})
      expectColor(*image, left + x, y, Color::white());
  }
  // An image view that shows nothing casts nothing.
  for (int y : {52, 70, 87}) expectColor(*image, 140, y, Color::white());

  // A radius softens the edge: half dark where the shape's edge falls,
  // fading out a few radii beyond it.
  card->layer().shadowRadius = 8;
  image = renderImage(root, 1);
  expectColor(*image, 80, 70, Color::black());
  const double edge = image->colorAt(80, 90).red;
  EXPECT_GT(edge, 0.3);
  EXPECT_LT(edge, 0.7);
  EXPECT_GT(image->colorAt(80, 98).red, 0.9);
}

TEST_F(Rendering, AScrollViewClipsItsContentUnlessToldNotTo) {
  auto root = box(Rect(0, 0, 40, 80), Color::white());
  auto strip = std::make_shared<ScrollView>(Rect(0, 0, 40, 40));
  strip->addSubview(box(Rect(0, 10, 40, 60), kBlue));  // runs 30 points below the strip
  root->addSubview(strip);
  EXPECT_TRUE(strip->clipsToBounds());
  EXPECT_TRUE(ScrollView().clipsToBounds());
  auto image = renderImage(root, 1);
  ASSERT_NE(image, nullptr);
  expectColor(*image, 20, 30, kBlue);
  expectColor(*image, 20, 42, Color::white());
  expectColor(*image, 20, 60, Color::white());
  strip->setClipsToBounds(false);
  expectColor(*renderImage(root, 1), 20, 60, kBlue);
}

// A frame the kit cannot draw (a slot sized NaN, infinite or 1e300) is
// refused with a log line; the view keeps its frame and the views drawn
// after it still draw.
TEST_F(Rendering, AFrameThatCannotBeDrawnIsRefusedAndTheRestOfTheTreeDraws) {
  QDXLog::setDebug(true);
  const double inf = std::numeric_limits<double>::infinity();
  for (double bad : {std::numeric_limits<double>::quiet_NaN(), inf, -inf, 1e300}) {
    auto root = box(Rect(0, 0, 40, 40), Color::white());
    auto banner = box(Rect(0, 0, 40, 10), kBlue);
    root->addSubview(banner);
    root->addSubview(box(Rect(0, 20, 40, 20), kRed));
    env_.clearLog();
    for (const Rect& frame : {Rect(0, 0, bad, 10), Rect(0, 0, 40, bad), Rect(bad, 0, 40, 10),
                              Rect(0, bad, 40, 10)}) {
      banner->setFrame(frame);
      EXPECT_EQ(banner->frame(), Rect(0, 0, 40, 10)) << bad;
    }
    EXPECT_EQ(env_.logCount("refuses the frame"), 4u) << bad;
    EXPECT_EQ(std::make_shared<View>(Rect(0, 0, bad, 10))->frame(), Rect()) << bad;
    auto image = renderImage(root, 1);
    ASSERT_NE(image, nullptr) << bad;
    expectColor(*image, 20, 5, kBlue);
    expectColor(*image, 20, 30, kRed);
  }
  QDXLog::setDebug(false);
}

// A view class the kit has never seen draws itself: the renderer calls its
// drawContent in its own coordinates, under its superview's offset and
// its own clipping, with no change to the renderer.
class Diagonal : public View {
 public:
  using View::View;
  void drawContent(Painter& painter) const override {
    painter.setColor(kBlue);
    painter.roundedRect(Rect(0, 0, bounds().width() / 2, bounds().height()), 0);
    painter.fill();
  }
};

TEST_F(Rendering, ANewViewClassDrawsItsOwnContent) {
  auto root = box(Rect(0, 0, 40, 20), Color::white());
  auto custom = std::make_shared<Diagonal>(Rect(10, 0, 20, 20));
  custom->setBackgroundColor(kRed);
  root->addSubview(custom);
  auto image = renderImage(root, 1);
  ASSERT_TRUE(image);
  expectColor(*image, 5, 10, Color::white());
  expectColor(*image, 15, 10, kBlue);  // its own content, over its background
  expectColor(*image, 25, 10, kRed);
  expectColor(*image, 35, 10, Color::white());
  custom->setHidden(true);
  expectColor(*renderImage(root, 1), 15, 10, Color::white());
}

TEST(LabelText, RangesCountUtf16UnitsAndAreClippedToTheText) {
  AttributedString text("猜你喜欢");
  EXPECT_EQ(text.length(), 4u);
  EXPECT_EQ(AttributedString("a😀b").length(), 4u);
  text.addKern(8, 0, 3);
  text.addKern(2, 2, 100);  // clipped to the last two characters
  text.addKern(1, 4, 1);    // starts past the end: dropped
  ASSERT_EQ(text.kerns().size(), 2u);
  EXPECT_EQ(text.kerns()[1].length, 2u);
}

}  // namespace
}  // namespace qdx::kit
