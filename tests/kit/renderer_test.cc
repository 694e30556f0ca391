// Rendering view trees: size at the screen scale, colours where they must
// be, clipping, alpha, text ink.
#include "kit/renderer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "qdx/kit/Kit.h"
#include "support/test_env.h"

namespace qdx::kit {
namespace {

void expectColor(const Image& image, int x, int y, Color want, double tolerance = 0.02) {
  Color got = image.colorAt(x, y);
  EXPECT_NEAR(got.red, want.red, tolerance) << "at " << x << "," << y;
  EXPECT_NEAR(got.green, want.green, tolerance) << "at " << x << "," << y;
  EXPECT_NEAR(got.blue, want.blue, tolerance) << "at " << x << "," << y;
  EXPECT_NEAR(got.alpha, want.alpha, tolerance) << "at " << x << "," << y;
}

// Pixels in the rectangle (pixel units) that differ from background.
int inkIn(const Image& image, int x0, int y0, int x1, int y1, Color background) {
  int ink = 0;
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      Color c = image.colorAt(x, y);
      if (std::fabs(c.red - background.red) + std::fabs(c.green - background.green) +
              std::fabs(c.blue - background.blue) >
          0.3) {
        ++ink;
      }
    }
  }
  return ink;
}

std::shared_ptr<Image> solid(Color c, int w, int h) {
  auto p = [&](double v) { return static_cast<std::uint32_t>(std::lround(v * c.alpha * 255)); };
  std::uint32_t px = (static_cast<std::uint32_t>(std::lround(c.alpha * 255)) << 24) |
                     (p(c.red) << 16) | (p(c.green) << 8) | p(c.blue);
  return Image::imageWithPixels(w, h, std::vector<std::uint32_t>(static_cast<std::size_t>(w) * h, px));
}

class Rendering : public ::testing::Test {
 protected:
  void SetUp() override { env_.setMainScreen({320, 568, 2}); }
  TestEnv env_;
};

TEST_F(Rendering, ASceneDecodesAtTheScaledSizeWithItsColoursInPlace) {
  auto root = std::make_shared<View>(Rect(0, 0, 100, 80));
  root->setBackgroundColor(Color::white());
  auto red = std::make_shared<View>(Rect(10, 10, 30, 20));
  red->setBackgroundColor(Color::rgba(1, 0, 0, 1));
  // A 4 x 2 green image stretched over a 40 x 20 point image view.
  auto image = std::make_shared<ImageView>(Rect(50, 10, 40, 20));
  image->setImage(solid(Color::rgba(0, 1, 0, 1), 4, 2));
  auto label = std::make_shared<Label>(Rect(0, 50, 100, 30));
  label->setText("QDX");
  label->setTextAlignment(TextAlignmentCenter);
  label->setFont(Font::fontWithName("Thonburi-Light", 14));
  label->setTextColor(Color::black());
  root->addSubview(red);
  root->addSubview(image);
  root->addSubview(label);

  std::string png = renderPng(root);
  auto decoded = Image::imageWithData(png);
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->pixelWidth(), 200);
  EXPECT_EQ(decoded->pixelHeight(), 160);
  expectColor(*decoded, 2, 2, Color::white());
  expectColor(*decoded, 20 * 2, 15 * 2, Color::rgba(1, 0, 0, 1));
  expectColor(*decoded, 89 * 2, 29 * 2, Color::rgba(0, 1, 0, 1));  // image reaches its corner
  expectColor(*decoded, 95 * 2, 15 * 2, Color::white());
  EXPECT_GT(inkIn(*decoded, 0, 100, 200, 160, Color::white()), 50);
  // Centred text leaves the label's edges blank.
  EXPECT_EQ(inkIn(*decoded, 0, 100, 10, 160, Color::white()), 0);
}

TEST_F(Rendering, ChineseTextProducesInk) {
  auto label = std::make_shared<Label>(Rect(0, 0, 120, 30));
  label->setBackgroundColor(Color::white());
  AttributedString title("猜你喜欢");
  title.addKern(8.0, 0, title.length() - 1);
  label->setAttributedText(title);
  label->setFont(Font::fontWithName("Thonburi", 17));
  auto image = renderImage(label);
  ASSERT_NE(image, nullptr);
  EXPECT_GT(inkIn(*image, 0, 0, 240, 60, Color::white()), 100);
}

TEST_F(Rendering, KerningWidensTheText) {
  auto measure = [](double kern) {
    auto label = std::make_shared<Label>(Rect(0, 0, 200, 30));
    label->setBackgroundColor(Color::white());
    AttributedString text("猜你喜欢");
    if (kern > 0) text.addKern(kern, 0, 3);
    label->setAttributedText(text);
    auto image = renderImage(label, 1);
    int rightmost = 0;
    for (int x = 0; x < 200; ++x) {
      if (inkIn(*image, x, 0, x + 1, 30, Color::white()) > 0) rightmost = x;
    }
    return rightmost;
  };
  EXPECT_GE(measure(8) - measure(0), 20);
}

TEST_F(Rendering, ClippingAlphaHiddenAndScrollOffsetAreHonoured) {
  auto root = std::make_shared<View>(Rect(0, 0, 100, 100));
  root->setBackgroundColor(Color::white());
  auto clip = std::make_shared<View>(Rect(0, 0, 20, 20));
  clip->setClipsToBounds(true);
  auto overflow = std::make_shared<View>(Rect(0, 0, 50, 50));
  overflow->setBackgroundColor(Color::black());
  clip->addSubview(overflow);
  auto faded = std::make_shared<View>(Rect(50, 0, 20, 20));
  faded->setBackgroundColor(Color::black());
  faded->setAlpha(0.5);
  auto hidden = std::make_shared<View>(Rect(0, 50, 20, 20));
  hidden->setBackgroundColor(Color::black());
  hidden->setHidden(true);
  auto scroll = std::make_shared<ScrollView>(Rect(50, 50, 20, 20));
  scroll->setContentSize({40, 20});
  auto page0 = std::make_shared<View>(Rect(0, 0, 20, 20));
  page0->setBackgroundColor(Color::rgba(1, 0, 0, 1));
  auto page1 = std::make_shared<View>(Rect(20, 0, 20, 20));
  page1->setBackgroundColor(Color::rgba(0, 0, 1, 1));
  scroll->addSubview(page0);
  scroll->addSubview(page1);
  scroll->setContentOffset({20, 0});
  scroll->setClipsToBounds(true);
  for (auto& v : {clip, faded, hidden, std::shared_ptr<View>(scroll)}) root->addSubview(v);

  auto image = renderImage(root, 1);
  ASSERT_NE(image, nullptr);
  expectColor(*image, 10, 10, Color::black());
  expectColor(*image, 30, 30, Color::white());  // clipped away
  expectColor(*image, 60, 10, Color::rgba(0.5, 0.5, 0.5, 1));
  expectColor(*image, 10, 60, Color::white());
  expectColor(*image, 60, 60, Color::rgba(0, 0, 1, 1));  // the second page shows
  expectColor(*image, 75, 60, Color::white());            // the first is off to the left
}

TEST_F(Rendering, RoundedCornersBordersAndDotsAreDrawn) {
  auto root = std::make_shared<View>(Rect(0, 0, 100, 60));
  auto button = Button::buttonWithType(ButtonTypeCustom);
  button->setFrame(Rect(0, 0, 100, 40));
  button->setBackgroundColor(Color::rgba(20 / 255.0, 150 / 255.0, 213 / 255.0, 1));
  button->layer().cornerRadius = 10;
  button->layer().borderWidth = 2;
  button->layer().borderColor = Color::white();
  auto dots = std::make_shared<PageControl>(Rect(50, 50, 0, 10));
  dots->setNumberOfPages(3);
  dots->setCurrentPageIndicatorTintColor(Color::orange());
  dots->setPageIndicatorTintColor(Color::white());
  root->addSubview(button);
  root->addSubview(dots);

  auto image = renderImage(root, 1);
  ASSERT_NE(image, nullptr);
  EXPECT_LT(image->colorAt(0, 0).alpha, 0.1);                                  // rounded off
  expectColor(*image, 50, 20, Color::rgba(20 / 255.0, 150 / 255.0, 213 / 255.0, 1));
  expectColor(*image, 50, 0, Color::white());                                  // border
  // Three dots centred on x = 50 (a zero-wide frame does not clip them):
  // the first, current one orange at 34, the others white.
  expectColor(*image, 34, 55, Color::orange(), 0.05);
  expectColor(*image, 50, 55, Color::white(), 0.05);
  expectColor(*image, 66, 55, Color::white(), 0.05);
}

TEST_F(Rendering, AStoppedSpinnerDisappearsAndARunningOneShows) {
  auto root = std::make_shared<View>(Rect(0, 0, 20, 20));
  root->setBackgroundColor(Color::white());
  auto spinner = std::make_shared<ActivityIndicatorView>(ActivityIndicatorViewStyleGray);
  root->addSubview(spinner);
  EXPECT_EQ(inkIn(*renderImage(root, 2), 0, 0, 40, 40, Color::white()), 0);
  spinner->startAnimating();
  EXPECT_GT(inkIn(*renderImage(root, 2), 0, 0, 40, 40, Color::white()), 10);
}

TEST_F(Rendering, AWindowShowsItsPresentedControllerOnTop) {
  auto window = std::make_shared<Window>(Rect(0, 0, 320, 568));
  auto root = std::make_shared<ViewController>();
  window->setRootViewController(root);
  root->view()->setBackgroundColor(Color::black());
  auto wall = std::make_shared<ViewController>();
  root->presentViewController(wall, true, nullptr);
  wall->view()->setBackgroundColor(Color::white());
  auto image = renderImage(window, 1);
  ASSERT_NE(image, nullptr);
  expectColor(*image, 160, 300, Color::white());
}

TEST_F(Rendering, NothingToDrawGivesNothing) {
  EXPECT_EQ(renderImage(nullptr), nullptr);
  EXPECT_TRUE(renderPng(std::make_shared<View>()).empty());
  EXPECT_FALSE(writePng(std::make_shared<View>(), env_.tempRoot() + "/empty.png"));
  auto view = std::make_shared<View>(Rect(0, 0, 10, 10));
  EXPECT_FALSE(writePng(view, env_.tempRoot() + "/no/such/dir/x.png"));
  EXPECT_TRUE(writePng(view, env_.tempRoot() + "/x.png"));
}

}  // namespace
}  // namespace qdx::kit
