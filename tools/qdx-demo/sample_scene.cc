#include "sample_scene.h"

#include <cmath>
#include <cstdint>
#include <iostream>
#include <vector>

#include "qdx/kit/Renderer.h"
#include "qdx/kit/Kit.h"
#include "sdk/QDXBannerGeometry.h"

namespace qdx::demo {
namespace {

using namespace qdx::kit;

std::uint32_t pack(double r, double g, double b, double a) {
  auto c = [a](double v) { return static_cast<std::uint32_t>(std::lround(v * a * 255)); };
  return (static_cast<std::uint32_t>(std::lround(a * 255)) << 24) | (c(r) << 16) | (c(g) << 8) | c(b);
}

// 720 x 110 artwork: a warm-to-cool gradient with diagonal stripes.
std::shared_ptr<Image> bannerArtwork() {
  constexpr int kW = 720, kH = 110;
  std::vector<std::uint32_t> px(kW * kH);
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      double t = static_cast<double>(x) / kW;
      bool stripe = ((x + y) / 24) % 2 == 0;
      double k = stripe ? 1.0 : 0.88;
      px[y * kW + x] = pack((1 - t) * k, (0.45 + 0.2 * t) * k, t * k, 1);
    }
  }
  return Image::imageWithPixels(kW, kH, std::move(px));
}

// 60 x 60 close glyph: a dark translucent disc with a white cross.
std::shared_ptr<Image> closeGlyph() {
  constexpr int kS = 60;
  std::vector<std::uint32_t> px(kS * kS, 0);
  for (int y = 0; y < kS; ++y) {
    for (int x = 0; x < kS; ++x) {
      double dx = x + 0.5 - kS / 2.0, dy = y + 0.5 - kS / 2.0;
      if (std::hypot(dx, dy) > kS / 2.0) continue;
      bool cross = std::fabs(std::fabs(dx) - std::fabs(dy)) < 4 && std::fabs(dx) < 16;
      px[y * kS + x] = cross ? pack(1, 1, 1, 1) : pack(0, 0, 0, 0.55);
    }
  }
  return Image::imageWithPixels(kS, kS, std::move(px), 2);
}

}  // namespace

int renderSampleScene(const std::string& path) {
  Rect screen = Screen::mainScreen().bounds();
  double w = screen.width();
  double bannerHeight = qdxBannerHeight(w);

  auto host = std::make_shared<View>(Rect(0, 0, w, 220));
  host->setBackgroundColor(Color::rgba(0.95, 0.95, 0.97, 1));

  // The banner: image first, close button on top, as the SDK builds it.
  auto banner = std::make_shared<View>(Rect(0, 20, w, bannerHeight));
  auto art = std::make_shared<ImageView>(Rect(0, 0, w, bannerHeight));
  art->setImage(bannerArtwork());
  auto close = Button::buttonWithType(ButtonTypeCustom);
  close->setFrame(Rect(w - 30, 0, 30, 30));
  close->setImageEdgeInsets({2, 3, 3, 2});
  close->setImage(closeGlyph(), ControlStateNormal);
  banner->addSubview(art);
  banner->addSubview(close);
  host->addSubview(banner);

  auto title = std::make_shared<Label>(Rect((w - 100) / 2, 100, 100, 24));
  AttributedString text("猜你喜欢");
  text.addKern(8.0, 0, text.length() - 1);
  title->setAttributedText(text);
  title->setFont(Font::fontWithName("Thonburi", 17));
  title->setTextAlignment(TextAlignmentCenter);
  host->addSubview(title);

  auto download = Button::buttonWithType(ButtonTypeCustom);
  download->setFrame(Rect((w - 215) / 2, 140, 215, 40));
  download->setBackgroundColor(Color::rgba(20 / 255.0, 150 / 255.0, 213 / 255.0, 1));
  download->setTitle("   下 载  A P P", ControlStateNormal);
  download->layer().cornerRadius = 5;
  host->addSubview(download);

  auto brand = std::make_shared<Label>(Rect((w - 170) / 2, 190, 170, 20));
  brand->setText("Powered by QDX");
  brand->setTextAlignment(TextAlignmentCenter);
  brand->setTextColor(Color::lightGray());
  brand->setFont(Font::fontWithName("Thonburi-Light", 14));
  host->addSubview(brand);

  if (!writePng(host, path)) {
    std::cerr << "could not write the sample scene to " << path << "\n";
    return 1;
  }
  return 0;
}

}  // namespace qdx::demo
