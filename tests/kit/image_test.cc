// Decoding PNG and JPEG bytes, and refusing everything else.
#include "qdx/kit/Image.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "kit/renderer.h"
#include "qdx/kit/View.h"

namespace qdx::kit {
namespace {

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

std::string samplePng() {
  auto view = std::make_shared<View>(Rect(0, 0, 3, 2));
  view->setBackgroundColor(Color::rgba(0, 0, 1, 1));
  return renderPng(view, 1);
}

TEST(ImageDecoding, UndecodableBytesGiveNoImage) {
  EXPECT_EQ(Image::imageWithData(std::nullopt), nullptr);
  EXPECT_EQ(Image::imageWithData(std::string()), nullptr);
  EXPECT_EQ(Image::imageWithData(std::string("<html>404 not found</html>")), nullptr);
  std::string png = samplePng();
  ASSERT_FALSE(png.empty());
  // A cut-off download, and a signature followed by garbage.
  EXPECT_EQ(Image::imageWithData(png.substr(0, png.size() / 2)), nullptr);
  EXPECT_EQ(Image::imageWithData(png.substr(0, 8) + std::string(200, 'x')), nullptr);
  std::string jpeg = readFile(QDX_SOURCE_DIR "/tests/kit/testdata/red_left_blue_right.jpg");
  ASSERT_FALSE(jpeg.empty());
  EXPECT_EQ(Image::imageWithData(jpeg.substr(0, 40)), nullptr);
  EXPECT_EQ(Image::imageWithData(std::string("\xFF\xD8\xFF", 3) + std::string(100, '\0')), nullptr);
}

TEST(ImageDecoding, PngKeepsSizeAndColour) {
  auto image = Image::imageWithData(samplePng());
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->pixelWidth(), 3);
  EXPECT_EQ(image->pixelHeight(), 2);
  EXPECT_EQ(image->size(), (Size{3, 2}));
  EXPECT_EQ(image->colorAt(2, 1), Color::rgba(0, 0, 1, 1));
  EXPECT_EQ(image->colorAt(3, 0), Color::clear());
}

TEST(ImageDecoding, JpegKeepsSizeAndApproximateColour) {
  auto image = Image::imageWithData(readFile(QDX_SOURCE_DIR "/tests/kit/testdata/red_left_blue_right.jpg"));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->pixelWidth(), 16);
  EXPECT_EQ(image->pixelHeight(), 8);
  Color left = image->colorAt(2, 4), right = image->colorAt(13, 4);
  EXPECT_GT(left.red, 0.9);
  EXPECT_LT(left.blue, 0.1);
  EXPECT_GT(right.blue, 0.9);
  EXPECT_LT(right.red, 0.1);
  EXPECT_EQ(left.alpha, 1);
}

TEST(ImageDecoding, PixelsMustMatchTheirDimensions) {
  EXPECT_EQ(Image::imageWithPixels(2, 2, {0, 0, 0}), nullptr);
  EXPECT_EQ(Image::imageWithPixels(0, 2, {}), nullptr);
  auto half = Image::imageWithPixels(2, 1, {0x80800000u, 0u}, 2);
  ASSERT_NE(half, nullptr);
  EXPECT_EQ(half->size(), (Size{1, 0.5}));
  // Premultiplied storage reads back as the full colour.
  EXPECT_NEAR(half->colorAt(0, 0).red, 1.0, 1e-9);
  EXPECT_NEAR(half->colorAt(0, 0).alpha, 128 / 255.0, 1e-9);
}

}  // namespace
}  // namespace qdx::kit
