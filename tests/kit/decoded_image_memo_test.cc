// Decoding the same bytes again hands out the image decoded before; large
// images and other bytes are decoded anew.
#include "kit/decoded_image_memo.h"

#include <gtest/gtest.h>

#include "qdx/kit/Image.h"
#include "qdx/kit/Renderer.h"
#include "qdx/kit/View.h"

namespace qdx::kit {
namespace {

std::string pngOfSize(double width, double height, Color colour) {
  auto view = std::make_shared<View>(Rect(0, 0, width, height));
  view->setBackgroundColor(colour);
  return renderPng(view, 1);
}

TEST(DecodedImageMemo, SameBytesShareOneImageWhileOtherBytesDecodeAnew) {
  const std::string red = pngOfSize(30, 30, Color(1, 0, 0, 1));
  const std::string blue = pngOfSize(30, 30, Color(0, 0, 1, 1));
  auto first = Image::imageWithData(red);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(Image::imageWithData(red), first);
  auto other = Image::imageWithData(blue);
  ASSERT_NE(other, nullptr);
  EXPECT_NE(other, first);
  EXPECT_GT(other->colorAt(5, 5).blue, 0.9);
  EXPECT_GT(first->colorAt(5, 5).red, 0.9);

  // A wall's card back (640 x 470, 1.2 MB of pixels) is shared as well.
  const std::string cardBack = pngOfSize(640, 470, Color(0, 1, 0, 1));
  auto back = Image::imageWithData(cardBack);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(Image::imageWithData(cardBack), back);

  // Cleared, the memo decodes anew; what it handed out stays usable.
  DecodedImageMemo::shared().clear();
  EXPECT_EQ(DecodedImageMemo::shared().bytesKept(), 0u);
  EXPECT_NE(Image::imageWithData(red), first);
  EXPECT_GT(first->colorAt(5, 5).red, 0.9);
}

// 100 x 100 pixels cost 40,000 bytes plus their PNG.
constexpr std::size_t kSquareCost = 100 * 100 * 4;

TEST(DecodedImageMemo, StaysWithinItsBudgetDroppingTheLeastRecentlyUsedFirst) {
  DecodedImageMemo memo(4 * kSquareCost + 16384, 2 * kSquareCost);
  std::vector<std::string> encoded;
  std::vector<std::shared_ptr<Image>> images;
  for (int i = 0; i < 4; ++i) {
    encoded.push_back(pngOfSize(100, 100, Color(i / 8.0, 0, 0, 1)));
    images.push_back(Image::imageWithData(encoded.back()));
    memo.keep(encoded.back(), images.back());
  }
  // Using the oldest makes the second the least recently used.
  EXPECT_EQ(memo.find(encoded[0]), images[0]);
  const std::string fifth = pngOfSize(100, 100, Color(0, 0, 1, 1));
  memo.keep(fifth, Image::imageWithData(fifth));
  EXPECT_EQ(memo.find(encoded[1]), nullptr) << "least recently used: out first";
  EXPECT_EQ(memo.find(encoded[0]), images[0]) << "used lately: kept";
  EXPECT_NE(memo.find(fifth), nullptr);
  EXPECT_LE(memo.bytesKept(), 4 * kSquareCost + 16384);

  // One image over the one-image limit is not kept, and evicts nothing.
  const std::string large = pngOfSize(150, 150, Color(0, 1, 1, 1));
  const std::size_t before = memo.bytesKept();
  memo.keep(large, Image::imageWithData(large));
  EXPECT_EQ(memo.find(large), nullptr);
  EXPECT_EQ(memo.bytesKept(), before);
}

}  // namespace
}  // namespace qdx::kit
