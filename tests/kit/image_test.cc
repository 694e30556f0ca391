// Decoding PNG and JPEG bytes, and refusing everything else.
#include "qdx/kit/Image.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "qdx/kit/Renderer.h"
#include "qdx/kit/View.h"

namespace qdx::kit {
namespace {

std::string sampleJpeg() {  // 16 x 8, red on the left, blue on the right
  std::ifstream in(QDX_SOURCE_DIR "/tests/kit/testdata/red_left_blue_right.jpg", std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// A JPEG keeps its size and colours; bytes that do not decode give no image.
TEST(ImageDecoding, JpegKeepsItsSizeAndColoursAndUndecodableBytesGiveNoImage) {
  const std::string png = renderPng(std::make_shared<View>(Rect(0, 0, 3, 2)), 1);
  const std::string jpeg = sampleJpeg();
  ASSERT_FALSE(png.empty());
  ASSERT_FALSE(jpeg.empty());
  const std::optional<std::string> bad[] = {
      std::nullopt,
      std::string(),
      std::string("<html>404 not found</html>"),
      png.substr(0, png.size() / 2),                       // a cut-off download
      png.substr(0, 8) + std::string(200, 'x'),            // a signature, then garbage
      jpeg.substr(0, 40),
      std::string("\xFF\xD8\xFF", 3) + std::string(100, '\0'),
  };
  for (const auto& data : bad) EXPECT_EQ(Image::imageWithData(data), nullptr);
  auto image = Image::imageWithData(jpeg);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->size(), (Size{16, 8}));
  Color left = image->colorAt(2, 4), right = image->colorAt(13, 4);
  EXPECT_GT(left.red, 0.9);
  EXPECT_LT(left.blue, 0.1);
  EXPECT_GT(right.blue, 0.9);
  EXPECT_LT(right.red, 0.1);
  EXPECT_EQ(left.alpha, 1);
}

}  // namespace
}  // namespace qdx::kit
