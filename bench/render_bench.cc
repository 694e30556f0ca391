// How long drawing takes: decoding a banner's artwork, and rendering a full
// wall-like screen (paged cards with images, texts, buttons and dots) at
// the device scale. The goal is well under a 60 Hz frame (16 ms) for the
// decode and a few frames for a full-screen snapshot.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "qdx/kit/Renderer.h"
#include "qdx/kit/Kit.h"
#include "platform/posix_env.h"

namespace {

using namespace qdx::kit;

// A 375 x 667 @2 screen for the whole run.
void installScreen() {
  static qdx::PosixEnv* env = [] {
    auto* e = new qdx::PosixEnv();
    e->setMainScreen({375, 667, 2});
    qdx::Env::Install(e);
    return e;
  }();
  (void)env;
}

std::shared_ptr<Image> pattern(int w, int h) {
  std::vector<std::uint32_t> px(static_cast<std::size_t>(w) * h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      px[static_cast<std::size_t>(y) * w + x] =
          0xFF000000u | (static_cast<std::uint32_t>(x & 0xFF) << 16) | ((y & 0xFF) << 8) | 0x80;
    }
  }
  return Image::imageWithPixels(w, h, std::move(px));
}

std::shared_ptr<View> wallScene(double w, double h) {
  auto root = std::make_shared<View>(Rect(0, 0, w, h));
  root->setBackgroundColor(Color::white());
  auto title = std::make_shared<Label>(Rect((w - 100) / 2, 64, 100, 17));
  AttributedString text("猜你喜欢");
  text.addKern(8, 0, 3);
  title->setAttributedText(text);
  title->setFont(Font::fontWithName("Thonburi", 17));
  root->addSubview(title);
  auto strip = std::make_shared<ScrollView>(Rect(0, 114, w, w * 0.846875));
  strip->setContentSize({3 * w, 10});
  for (int k = 0; k < 3; ++k) {
    auto back = std::make_shared<ImageView>(Rect(k * w, 36, w, w * 470 / 640));
    back->setImage(pattern(640, 470));
    auto icon = std::make_shared<ImageView>(Rect(k * w + (w - 110) / 2, 0, 110, 110));
    icon->setImage(pattern(120, 120));
    icon->layer().shadowOpacity = 0.5;
    icon->layer().shadowOffset = {0, 10};
    icon->layer().shadowRadius = 5;
    auto name = std::make_shared<Label>(Rect(k * w + (w - 150) / 2, 130, 150, 20));
    name->setText("应用名称");
    name->setFont(Font::fontWithName("Thonburi-Bold", 20));
    name->setTextColor(Color::white());
    strip->addSubview(back);
    strip->addSubview(icon);
    strip->addSubview(name);
  }
  root->addSubview(strip);
  auto dots = std::make_shared<PageControl>(Rect(w / 2, 360, 0, 20));
  dots->setNumberOfPages(3);
  root->addSubview(dots);
  auto download = Button::buttonWithType(ButtonTypeCustom);
  download->setFrame(Rect((w - 215) / 2, 435, 215, 40));
  download->setTitle("   下 载  A P P", ControlStateNormal);
  download->setBackgroundColor(Color::rgba(0.08, 0.59, 0.84, 1));
  download->layer().cornerRadius = 5;
  root->addSubview(download);
  return root;
}

void BM_DecodeBannerPng(benchmark::State& state) {
  installScreen();
  auto art = std::make_shared<ImageView>(Rect(0, 0, 720, 110));
  art->setImage(pattern(720, 110));
  std::string png = renderPng(art, 1);
  for (auto _ : state) benchmark::DoNotOptimize(Image::imageWithData(png));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(png.size()));
}
BENCHMARK(BM_DecodeBannerPng)->Unit(benchmark::kMillisecond);

void BM_RenderWallScreen(benchmark::State& state) {
  installScreen();
  auto scene = wallScene(375, 667);
  renderImage(scene);  // warm the font caches
  for (auto _ : state) benchmark::DoNotOptimize(renderImage(scene));
}
BENCHMARK(BM_RenderWallScreen)->Unit(benchmark::kMillisecond);

void BM_RenderWallScreenPng(benchmark::State& state) {
  installScreen();
  auto scene = wallScene(375, 667);
  renderPng(scene);
  for (auto _ : state) benchmark::DoNotOptimize(renderPng(scene));
}
BENCHMARK(BM_RenderWallScreenPng)->Unit(benchmark::kMillisecond);

}  // namespace
