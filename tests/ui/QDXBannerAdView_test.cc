// The native banner: its 8:3 fit, the blur kernel, the blur itself against
// a direct box mean, and what it builds from an app entry.
#include "ui/QDXBannerAdView.h"

#include <cmath>
#include <cstdint>
#include <vector>

#include "custom_slot_fixture.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/Renderer.h"
#include "qdx/kit/TapGestureRecognizer.h"
#include "transport/QDXImageCache.h"

namespace qdx::testing {
namespace {

TEST(BannerAdViewTest, ForegroundIsTheCentred8To3Box) {
  struct Case {
    kit::Size slot;
    kit::Rect frame;
  };
  const Case cases[] = {
      {{320, 120}, {0, 0, 320, 120}},       // 2.67 >= 8/3: as high as the slot
      {{320, 200}, {0, 40, 320, 120}},      // taller: as wide, centred vertically
      {{400, 120}, {40, 0, 320, 120}},      // wider: centred horizontally
      {{720, 110}, {(720 - 880.0 / 3) / 2, 0, 880.0 / 3, 110}},
  };
  for (const Case& c : cases) {
    const kit::Rect got = QDXBannerAdView::foregroundFrame(c.slot);
    EXPECT_NEAR(got.origin.x, c.frame.origin.x, 1e-9) << c.slot.width << "x" << c.slot.height;
    EXPECT_NEAR(got.origin.y, c.frame.origin.y, 1e-9);
    EXPECT_NEAR(got.size.width, c.frame.size.width, 1e-9);
    EXPECT_NEAR(got.size.height, c.frame.size.height, 1e-9);
  }
}

TEST(BannerAdViewTest, KernelSideIsTheTruncatedTimesFortyMadeOdd) {
  const std::pair<double, long> cases[] = {{0.5, 21}, {0.1, 5}, {0, 1}, {0.02, 1},
                                           {1, 41},   {-0.5, -19}};
  for (auto [blur, side] : cases) EXPECT_EQ(QDXBannerAdView::kernelSize(blur), side) << blur;
  // A blur number no kernel side can hold gives one the convolution
  // refuses: the failure is logged and the backdrop is blank, opaque.
  for (double blur : {std::nan(""), 1e300, -1e300}) {
    EXPECT_LT(QDXBannerAdView::kernelSize(blur), 0) << blur;
    auto blurred = QDXBannerAdView::boxblurImage(kit::Image::imageWithPixels(2, 2, {1, 2, 3, 4}), blur);
    ASSERT_NE(blurred, nullptr);
    EXPECT_EQ(blurred->colorAt(0, 0).alpha, 1);
  }
}

// The box mean of one channel at (x, y), straight from the definition:
// every pixel of the k x k box, coordinates clamped to the image.
std::uint32_t directMean(const std::vector<std::uint32_t>& px, int w, int h, int x, int y, int k,
                         int shift) {
  long sum = 0;
  for (int dy = -k / 2; dy <= k / 2; ++dy) {
    for (int dx = -k / 2; dx <= k / 2; ++dx) {
      const int sx = std::min(std::max(x + dx, 0), w - 1), sy = std::min(std::max(y + dy, 0), h - 1);
      sum += (px[static_cast<std::size_t>(sy * w + sx)] >> shift) & 0xFF;
    }
  }
  return static_cast<std::uint32_t>(std::lround(static_cast<double>(sum) / (k * k)));
}

TEST(BannerAdViewTest, BlurIsTheEdgeExtendedBoxMeanMadeOpaque) {
  const int w = 9, h = 6;
  std::vector<std::uint32_t> px;
  for (int i = 0; i < w * h; ++i) {
    // Premultiplied (colour <= alpha), with sharp steps near the edges.
    const std::uint32_t a = 128 + static_cast<std::uint32_t>(i * 37 % 128);
    px.push_back(a << 24 | (i * 53 % (a + 1)) << 16 | (i % 3 == 0 ? a : 0) << 8 | (i * 11 % (a + 1)));
  }
  auto image = kit::Image::imageWithPixels(w, h, px);
  for (double blur : {0.1, 0.2}) {  // kernels 5 and 9: wider than the image is high
    const long k = QDXBannerAdView::kernelSize(blur);
    auto blurred = QDXBannerAdView::boxblurImage(image, blur);
    ASSERT_TRUE(blurred);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const std::uint32_t got = blurred->pixels()[static_cast<std::size_t>(y * w + x)];
        EXPECT_EQ(got >> 24, 0xFFu) << "alpha dropped at " << x << "," << y;
        for (int shift : {0, 8, 16}) {
          EXPECT_EQ((got >> shift) & 0xFF, directMean(px, w, h, x, y, static_cast<int>(k), shift))
              << "k " << k << " at " << x << "," << y << " shift " << shift;
        }
      }
    }
  }
  EXPECT_EQ(QDXBannerAdView::boxblurImage(nullptr, 0.5), nullptr);
}

TEST(BannerAdViewTest, AFailedConvolutionIsLoggedAndItsBlankOutputUsed) {
  TestEnv env;
  QDXLog::setDebug(true);
  auto blurred = QDXBannerAdView::boxblurImage(kit::Image::imageWithPixels(2, 2, {1, 2, 3, 4}), -0.5);
  ASSERT_TRUE(blurred);
  EXPECT_TRUE(env.logContains("error from convolution -21767"));
  EXPECT_EQ(blurred->pixels(), (std::vector<std::uint32_t>(4, 0xFF000000u)));
}

using BannerLoadTest = CustomSlotTest;

TEST_F(BannerLoadTest, BuildsBackdropThenForegroundOnTheMainQueueAndTapsReachTheSink) {
  struct Sink : QDXADEventDelegate {
    void tapAD(std::int64_t index) override { taps.push_back(index); }
    std::vector<std::int64_t> taps;
  };
  auto sink = std::make_shared<Sink>();
  Json entry = {{"adlist", Json::array({{{"ad_url", "https://api.qdx.example/qdx/assets/banner/2.png"}}})}};
  auto view = std::make_shared<QDXBannerAdView>();
  view->setEventDelegate(sink);
  view->setTag(4);
  ASSERT_TRUE(view->onAdInfoLoaded(entry, {320, 200}));
  EXPECT_TRUE(view->subviews().empty()) << "added by a queued block";
  settle();
  const auto children = view->subviews();
  ASSERT_EQ(children.size(), 2u);
  auto backdrop = std::dynamic_pointer_cast<kit::ImageView>(children[0]);
  auto foreground = std::dynamic_pointer_cast<kit::ImageView>(children[1]);
  ASSERT_TRUE(backdrop && foreground);
  EXPECT_EQ(backdrop->frame(), kit::Rect(0, 0, 320, 200));
  EXPECT_EQ(foreground->frame(), kit::Rect(0, 40, 320, 120));
  EXPECT_EQ(backdrop->image()->colorAt(0, 0).alpha, 1.0);
  ASSERT_EQ(foreground->gestureRecognizers().size(), 1u);
  foreground->gestureRecognizers()[0]->recognize();
  EXPECT_EQ(sink->taps, (std::vector<std::int64_t>{4}));
  EXPECT_TRUE(env_.logContains("点击跳转到AppStore关闭了banner"));

  Json missing = {{"adlist", Json::array({{{"ad_url", "https://api.qdx.example/qdx/assets/banner/99.png"}}})}};
  auto empty = std::make_shared<QDXBannerAdView>();
  EXPECT_FALSE(empty->onAdInfoLoaded(missing, {320, 200}));
  EXPECT_FALSE(empty->onAdInfoLoaded(Json::object(), {320, 200}));
  settle();
  EXPECT_TRUE(empty->subviews().empty());
}

// Artwork over the pixel budget is a missing picture: no view is built and
// none is queued, exactly as when the picture never arrived.
TEST_F(BannerLoadTest, ArtworkWiderThanFourThousandAndNinetySixPixelsCountsAsMissing) {
  const std::string url = "https://cdn.example/huge-artwork.png";
  QDXImageCache& cache = QDXImageCache::shareInstance();
  const std::string huge = kit::renderPng(std::make_shared<kit::View>(kit::Rect(0, 0, 4097, 3)), 1);
  // The shared cache keeps the folder of the platform it was made under.
  env_.posix().createDirectories(cache.diskCachePath());
  ASSERT_TRUE(env_.posix().writeFileAtomically(cache.filePathForURL(url), huge));

  Json entry = {{"adlist", Json::array({{{"ad_url", url}}})}};
  auto view = std::make_shared<QDXBannerAdView>();
  EXPECT_FALSE(view->onAdInfoLoaded(entry, {320, 200}));
  settle();
  EXPECT_TRUE(view->subviews().empty());
  EXPECT_TRUE(env_.logContains("an image of 4097 x 3 pixels is over the 4096-pixel limit"));
  EXPECT_EQ(cache.getImageFromString(url), huge) << "the bytes stay cached as they came";
}

}  // namespace
}  // namespace qdx::testing
