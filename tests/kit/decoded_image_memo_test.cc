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

TEST(DecodedImageMemo, SameBytesShareOneImageWhileLargeOnesAndOtherBytesDecodeAnew) {
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

  // 640 x 470 pixels are over the size kept: each decoding is its own.
  const std::string cardBack = pngOfSize(640, 470, Color(0, 1, 0, 1));
  auto back = Image::imageWithData(cardBack);
  ASSERT_NE(back, nullptr);
  EXPECT_NE(Image::imageWithData(cardBack), back);
}

TEST(DecodedImageMemo, KeepsNoMoreThanItsBudget) {
  DecodedImageMemo memo;
  // 300 x 300 pixels are 360,000 bytes: five of them are over the budget,
  // so the oldest ones go first.
  std::vector<std::string> encoded;
  std::vector<std::shared_ptr<Image>> images;
  for (int i = 0; i < 8; ++i) {
    encoded.push_back(pngOfSize(300, 300, Color(i / 8.0, 0, 0, 1)));
    images.push_back(Image::imageWithData(encoded.back()));
    memo.keep(encoded.back(), images.back());
  }
  EXPECT_EQ(memo.find(encoded.front()), nullptr);
  EXPECT_EQ(memo.find(encoded.back()), images.back());
  std::size_t kept = 0;
  for (const std::string& bytes : encoded) kept += memo.find(bytes) != nullptr;
  EXPECT_EQ(kept, DecodedImageMemo::kBudgetBytes / (300 * 300 * 4));
}

}  // namespace
}  // namespace qdx::kit
