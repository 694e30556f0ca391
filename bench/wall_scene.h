#pragma once
// The wall-like screen the drawing benchmarks share: a title, a strip of
// three paged cards (a background image, an icon with a shadow, a name),
// page dots and a download button, on a 375 x 667 @2 screen.
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/posix_env.h"
#include "qdx/kit/Kit.h"

namespace qdx::bench {

using namespace qdx::kit;

// The tag of the wall's paging strip.
inline constexpr long kWallStripTag = 100;

// A 375 x 667 @2 screen for the whole run.
inline void installScreen() {
  static qdx::PosixEnv* env = [] {
    auto* e = new qdx::PosixEnv();
    e->setMainScreen({375, 667, 2});
    qdx::Env::Install(e);
    return e;
  }();
  (void)env;
}

inline std::shared_ptr<Image> pattern(int w, int h) {
  std::vector<std::uint32_t> px(static_cast<std::size_t>(w) * h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      px[static_cast<std::size_t>(y) * w + x] =
          0xFF000000u | (static_cast<std::uint32_t>(x & 0xFF) << 16) | ((y & 0xFF) << 8) | 0x80;
    }
  }
  return Image::imageWithPixels(w, h, std::move(px));
}

inline std::shared_ptr<View> wallScene(double w, double h) {
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
  strip->setPagingEnabled(true);
  strip->setTag(kWallStripTag);
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

}  // namespace qdx::bench
